#pragma once

#include <map>
#include <utility>

#include "sandbox/outlook/property_value.h"

namespace sandbox::outlook {

// The tag that a property is kept under: that of the wide view for every text.
constexpr ULONG KeptTag(ULONG tag) {
    return PROP_TYPE(tag) == PT_STRING8 ? CHANGE_PROP_TYPE(tag, PT_UNICODE) : tag;
}

// Properties by tag, in the order of the tags.
class PropertyBag {
public:
    // Null when no property has that id and type; narrow and wide texts are one type.
    const PropertyValue* Find(ULONG tag) const {
        const auto found = values_.find(KeptTag(tag));
        return found == values_.end() ? nullptr : &found->second;
    }

    // The value's own type takes the place of the tag's.
    void Set(ULONG tag, PropertyValue value) {
        const ULONG kept = CHANGE_PROP_TYPE(tag, value.type());
        values_.insert_or_assign(kept, std::move(value));
    }

    bool Erase(ULONG tag) { return values_.erase(KeptTag(tag)) != 0; }

    auto begin() const { return values_.begin(); }
    auto end() const { return values_.end(); }

    friend bool operator==(const PropertyBag&, const PropertyBag&) = default;

private:
    std::map<ULONG, PropertyValue> values_;
};

}  // namespace sandbox::outlook
