#pragma once

#include <optional>

#include "sandbox/outlook/mapi_values.h"

namespace sandbox::outlook {

// How far an open object can be used.
enum class Access { kClosed, kReadOnly, kReadWrite };

// What stands behind IMAPIProp: an open object with its working copy of the properties.
class PropertyHolder : public PropertySource {
public:
    // Changes the working copy: sets the property, or removes it for no value. Gives
    // MAPI_E_COMPUTED, MAPI_E_NO_ACCESS, or MAPI_E_NOT_FOUND for a removal of nothing.
    virtual HRESULT Put(ULONG tag, std::optional<PropertyValue> value) = 0;

    // Carries the working copy to where it came from.
    virtual HRESULT Save(ULONG flags) = 0;

    virtual Access access() const = 0;

    // What OpenProperty(`tag`) serves as a stream, the tag itself unless it stands for another.
    virtual ULONG StreamTag(ULONG tag) const { return tag; }

    // OpenProperty for anything but a stream.
    virtual HRESULT OpenOther(ULONG, REFIID, ULONG, IUnknown**) {
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    }

protected:
    ~PropertyHolder() = default;
};

// The access that an object opened with `flags` has, when what contains it gives `most`.
// MAPI_MODIFY that cannot be had is refused by the caller.
Access AccessFor(ULONG flags, Access most);

// What SaveChanges(`flags`) leaves of the access.
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
