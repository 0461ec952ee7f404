#pragma once

#include <optional>

#include "sandbox/outlook/mapi_values.h"

namespace sandbox::outlook {

// How far an open object can be used.
enum class Access { kClosed, kReadOnly, kReadWrite };

// An open object with its working copy of the properties, behind IMAPIProp.
class PropertyHolder : public PropertySource {
public:
    // Sets the property in the working copy; without a value, removes it. Answers MAPI_E_COMPUTED,
    // MAPI_E_NO_ACCESS, or MAPI_E_NOT_FOUND when there is nothing to remove.
    virtual HRESULT Put(ULONG tag, std::optional<PropertyValue> value) = 0;

    // Carries the working copy to where it came from.
    virtual HRESULT Save(ULONG flags) = 0;

    virtual Access access() const = 0;

    // The tag of the property that OpenProperty(`tag`) serves as a stream, usually `tag` itself.
    virtual ULONG StreamTag(ULONG tag) const { return tag; }

    // OpenProperty for anything but a stream.
    virtual HRESULT OpenOther(ULONG, REFIID, ULONG, IUnknown**) {
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    }

protected:
    ~PropertyHolder() = default;
};

// The access that an object opened with `flags` has inside a container with the access `most`.
// MAPI_MODIFY that cannot be had is refused by the caller.
Access AccessFor(ULONG flags, Access most);

// The access that is left after SaveChanges(`flags`).
Access AccessAfterSave(ULONG flags);

// The bodies of IMAPIProp's methods over a holder.
HRESULT GetProps(MapiMemory& memory, const PropertyHolder& holder, const SPropTagArray* tags,
                 ULONG flags, ULONG* count, SPropValue** values);
HRESULT GetPropList(MapiMemory& memory, const PropertyHolder& holder, ULONG flags,
                    SPropTagArray** tags);
HRESULT SetProps(MapiMemory& memory, PropertyHolder& holder, ULONG count, const SPropValue* values,
                 SPropProblemArray** problems);
HRESULT DeleteProps(MapiMemory& memory, PropertyHolder& holder, const SPropTagArray* tags,
                    SPropProblemArray** problems);

// A copy of a list of tags in a buffer of its own.
SPropTagArray* GiveTags(MapiMemory& memory, std::span<const ULONG> tags);

}  // namespace sandbox::outlook
