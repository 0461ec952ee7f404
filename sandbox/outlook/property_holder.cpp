#include "sandbox/outlook/property_holder.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "sandbox/outlook/property_bag.h"

namespace sandbox::outlook {
namespace {

std::vector<ULONG> ShownTags(const PropertyHolder& holder, ULONG flags) {
    std::vector<ULONG> tags = holder.Tags();
    for (ULONG& tag : tags) tag = ShownTag(tag, flags);
    return tags;
}

// Collects the problems of single properties.
class Problems {
public:
    void Add(std::size_t index, ULONG tag, HRESULT code) {
        problems_.push_back({static_cast<ULONG>(index), tag, code});
    }

    // The caller need not ask for them; without problems it gets none.
    void Give(MapiMemory& memory, SPropProblemArray** out) const {
        if (out == nullptr) return;
        *out = nullptr;
        if (problems_.empty()) return;
        auto* const array = static_cast<SPropProblemArray*>(memory.Allocate(
            offsetof(SPropProblemArray, aProblem) + problems_.size() * sizeof(SPropProblem)));
        array->cProblem = static_cast<ULONG>(problems_.size());
        SPropProblem* const first = array->aProblem;
        std::copy(problems_.begin(), problems_.end(), first);
        *out = array;
    }

private:
    std::vector<SPropProblem> problems_;
};

// Whether the properties of `tags` may be changed by their values.
HRESULT CheckWritable(const Runtime& runtime, PropertyHolder& holder, std::span<const ULONG> tags) {
    if (holder.access() != Access::kReadWrite) return MAPI_E_NO_ACCESS;
    const bool open = runtime.traits().guards_streams && std::ranges::any_of(tags, [&](ULONG tag) {
                          return holder.streams().IsOpen(KeptTag(tag));
                      });
    return open ? MAPI_E_NO_ACCESS : S_OK;
}

// Takes back values that are too large for GetProps.
bool RefuseLargeValues(const PropertyHolder& holder, std::size_t large, std::span<SPropValue> all) {
    bool complete = true;
    for (SPropValue& value : all) {
        const ULONG type = PROP_TYPE(value.ulPropTag);
        if (type != PT_STRING8 && type != PT_UNICODE && type != PT_BINARY) continue;
        const auto held = holder.Get(KeptTag(value.ulPropTag));
        if (!held || held->content()->size() < large) continue;
        value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_ERROR);
        value.Value.err = MAPI_E_NOT_ENOUGH_MEMORY;
        complete = false;
    }
    return complete;
}

}  // namespace

Access AccessFor(ULONG flags, Access most) {
    const bool writing = (flags & (MAPI_MODIFY | MAPI_BEST_ACCESS)) != 0;
    return writing ? most : Access::kReadOnly;
}

Access AccessAfterSave(ULONG flags) {
    if ((flags & KEEP_OPEN_READWRITE) != 0) return Access::kReadWrite;
    return (flags & KEEP_OPEN_READONLY) != 0 ? Access::kReadOnly : Access::kClosed;
}

SPropTagArray* GiveTags(MapiMemory& memory, std::span<const ULONG> tags) {
    auto* const array = static_cast<SPropTagArray*>(
        memory.Allocate(std::max(sizeof(SPropTagArray), CbNewSPropTagArray(tags.size()))));
    array->cValues = static_cast<ULONG>(tags.size());
    ULONG* const first = array->aulPropTag;
    std::copy(tags.begin(), tags.end(), first);
    return array;
}

HRESULT GetProps(Runtime& runtime, const PropertyHolder& holder, const SPropTagArray* tags,
                 ULONG flags, ULONG* count, SPropValue** values) {
    MapiMemory& memory = runtime.memory();
    if (count == nullptr || values == nullptr) return MAPI_E_INVALID_PARAMETER;
    if (tags != nullptr && tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
    if (runtime.Refuses(flags, MAPI_UNICODE)) return MAPI_E_UNKNOWN_FLAGS;
    std::vector<ULONG> all;
    std::span<const ULONG> wanted;
    if (tags != nullptr) {
        const ULONG* const first = tags->aulPropTag;
        wanted = {first, tags->cValues};
    } else {
        all = ShownTags(holder, flags);
        wanted = all;
    }
    OwnedBuffer buffer(memory, wanted.size() * sizeof(SPropValue));
    auto* const given = static_cast<SPropValue*>(buffer.get());
    bool complete = FillValues(runtime, buffer.get(), holder, wanted, flags, given);
    if (!RefuseLargeValues(holder, runtime.traits().large_value, {given, wanted.size()}))
        complete = false;
    *count = static_cast<ULONG>(wanted.size());
    *values = static_cast<SPropValue*>(buffer.detach());
    return complete ? S_OK : MAPI_W_ERRORS_RETURNED;
}

HRESULT GetPropList(Runtime& runtime, const PropertyHolder& holder, ULONG flags,
                    SPropTagArray** tags) {
    if (tags == nullptr) return MAPI_E_INVALID_PARAMETER;
    if (runtime.Refuses(flags, MAPI_UNICODE)) return MAPI_E_UNKNOWN_FLAGS;
    *tags = GiveTags(runtime.memory(), ShownTags(holder, flags));
    return S_OK;
}

HRESULT SetProps(Runtime& runtime, PropertyHolder& holder, ULONG count, const SPropValue* values,
                 SPropProblemArray** problems) {
    if (count == 0 || values == nullptr) return MAPI_E_INVALID_PARAMETER;
    std::vector<ULONG> tags;
    for (const SPropValue& value : std::span(values, count)) tags.push_back(value.ulPropTag);
    if (const HRESULT code = CheckWritable(runtime, holder, tags); FAILED(code)) return code;
    Problems found;
    for (const SPropValue& value : std::span(values, count)) {
        std::optional<PropertyValue> taken = TakeValue(value, runtime.traits().code_page);
        const HRESULT code = taken ? holder.Put(value.ulPropTag, std::move(taken))
                                   : static_cast<HRESULT>(MAPI_E_TYPE_NO_SUPPORT);
        if (FAILED(code))
            found.Add(static_cast<std::size_t>(&value - values), value.ulPropTag, code);
    }
    found.Give(runtime.memory(), problems);
    return S_OK;
}

HRESULT DeleteProps(Runtime& runtime, PropertyHolder& holder, const SPropTagArray* tags,
                    SPropProblemArray** problems) {
    if (tags == nullptr || tags->cValues == 0) return MAPI_E_INVALID_PARAMETER;
    const ULONG* const first = tags->aulPropTag;
    const std::span all(first, tags->cValues);
    if (const HRESULT code = CheckWritable(runtime, holder, all); FAILED(code)) return code;
    Problems found;
    for (std::size_t i = 0; i != tags->cValues; ++i) {
        const HRESULT code = holder.Put(first[i], std::nullopt);
        if (FAILED(code)) found.Add(i, first[i], code);
    }
    found.Give(runtime.memory(), problems);
    return S_OK;
}

}  // namespace sandbox::outlook
