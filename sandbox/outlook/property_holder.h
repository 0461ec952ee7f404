#pragma once

#include <map>
#include <memory>
#include <optional>

#include "sandbox/outlook/mapi_values.h"
#include "sandbox/outlook/runtime.h"

namespace sandbox::outlook {

// How far an open object can be used.
enum class Access { kClosed, kReadOnly, kReadWrite };

class ByteStream;

// The streams of one object's properties that are still referenced, by the ids of the properties.
class OpenStreams {
public:
    bool IsOpen(ULONG tag) const { return streams_->contains(PROP_ID(tag)); }
    // The first of a property's streams; null when none is open.
    ByteStream* First(ULONG tag) const {
        const auto found = streams_->find(PROP_ID(tag));
        return found != streams_->end() ? *found->second : nullptr;
    }

    // Counts a stream for as long as the entry lives. The stream is known once it has been made.
    using Entry = std::shared_ptr<ByteStream*>;
    Entry Add(ULONG tag) {
        auto stream = std::make_unique<ByteStream*>(nullptr);
        const auto place = streams_->emplace(PROP_ID(tag), stream.get());
        return {stream.release(), [streams = streams_, place](ByteStream** gone) {
                    streams->erase(place);
                    delete gone;
                }};
    }

private:
    using Streams = std::multimap<ULONG, ByteStream**>;
    const std::shared_ptr<Streams> streams_ = std::make_shared<Streams>();
};

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

    OpenStreams& streams() { return streams_; }

protected:
    ~PropertyHolder() = default;

private:
    OpenStreams streams_;
};

// The flags that whatever opens an object takes.
inline constexpr ULONG kOpenFlags = MAPI_MODIFY | MAPI_BEST_ACCESS | MAPI_DEFERRED_ERRORS;

// The access that an object opened with `flags` has inside a container with the access `most`.
// MAPI_MODIFY that cannot be had is refused by the caller.
Access AccessFor(ULONG flags, Access most);

// The access that is left after SaveChanges(`flags`).
Access AccessAfterSave(ULONG flags);

// The bodies of IMAPIProp's methods over a holder.
HRESULT GetProps(Runtime& runtime, const PropertyHolder& holder, const SPropTagArray* tags,
                 ULONG flags, ULONG* count, SPropValue** values);
HRESULT GetPropList(Runtime& runtime, const PropertyHolder& holder, ULONG flags,
                    SPropTagArray** tags);
HRESULT SetProps(Runtime& runtime, PropertyHolder& holder, ULONG count, const SPropValue* values,
                 SPropProblemArray** problems);
HRESULT DeleteProps(Runtime& runtime, PropertyHolder& holder, const SPropTagArray* tags,
                    SPropProblemArray** problems);

// A copy of a list of tags in a buffer of its own.
SPropTagArray* GiveTags(MapiMemory& memory, std::span<const ULONG> tags);

}  // namespace sandbox::outlook
