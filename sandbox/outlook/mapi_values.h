#pragma once

// Between kept values and the platform's SPropValue.

#include <optional>
#include <span>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/property_value.h"
#include "sandbox/outlook/runtime.h"

namespace sandbox::outlook {

// An object that has properties, kept or computed.
class PropertySource {
public:
    // `tag` is a kept tag (KeptTag).
    virtual std::optional<PropertyValue> Get(ULONG tag) const = 0;
    // The kept tags of all properties.
    virtual std::vector<ULONG> Tags() const = 0;

protected:
    ~PropertySource() = default;
};

// The tag of a text as a caller without MAPI_UNICODE in `flags` sees it, and with it.
ULONG ShownTag(ULONG kept_tag, ULONG flags);

// Fills `values`, as many as `tags`. A tag without a type takes the type of what is there; what
// is missing becomes PT_ERROR with MAPI_E_NOT_FOUND. Texts and binaries are allocated with the
// buffer `first`, narrow texts in the store's code page. True when nothing was missing.
bool FillValues(Runtime& runtime, void* first, const PropertySource& source,
                std::span<const ULONG> tags, ULONG flags, SPropValue* values);

// Narrow texts are of that code page. Nullopt for a type that is not kept here and for a text or
// binary without storage.
std::optional<PropertyValue> TakeValue(const SPropValue& value, unsigned code_page);

}  // namespace sandbox::outlook
