#pragma once

// Reference counted objects with an interface query: the base of everything that crosses an
// interface of the framework.

#include <atomic>
#include <cstdint>

#include "vek/core/result.h"

namespace vek {

// Names an interface. The framework uses 32-bit numbers where COM uses GUIDs.
using interface_id_t = std::uint32_t;

// The root of all framework interfaces. Every interface derived from it declares
// `static constexpr interface_id_t kInterfaceId`.
//
// All three operations may be called from any thread.
struct IObject {
    // Every object answers to this id with its root.
    static constexpr interface_id_t kInterfaceId = 0;

    // Each returns the new count.
    virtual std::uint32_t AddRef() noexcept = 0;
    virtual std::uint32_t Release() noexcept = 0;

    // Gives the interface `id` of this object with a reference added. An object without that
    // interface gives kInterfaceNotSupported and sets `*out` to null.
    virtual result_t QueryInterface(interface_id_t id, void** out) noexcept = 0;

protected:
    ~IObject() = default;
};

// Counts the objects of this module that are alive: the module may be unloaded at zero. Any thread
// may call it.
std::uint32_t LiveObjectCount() noexcept;

// Counts its owner among the module's live objects. Held as a member, so that an object is
// counted from the moment its construction starts until the last of it is gone.
class LiveObjectMark {
public:
    LiveObjectMark() noexcept;
    ~LiveObjectMark();
    LiveObjectMark(const LiveObjectMark&) = delete;
    LiveObjectMark& operator=(const LiveObjectMark&) = delete;
};

// An atomic reference count. It starts at one, the creator's reference: an object may then hand
// itself out while it is being constructed without being destroyed by the first release.
class ReferenceCount {
public:
    std::uint32_t Increment() noexcept {
        return count_.fetch_add(1, std::memory_order_relaxed) + 1;
    }
    std::uint32_t Decrement() noexcept {
        return count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    }

private:
    std::atomic<std::uint32_t> count_{1};
};

// Implements counting, the interface query and the live-object count for a class that offers
// `First` and `Rest`. Construct such classes with MakeObject (ref_ptr.h).
template <class First, class... Rest>
class ObjectImpl : public First, public Rest... {
public:
    ObjectImpl() = default;
    ObjectImpl(const ObjectImpl&) = delete;
    ObjectImpl& operator=(const ObjectImpl&) = delete;

    std::uint32_t AddRef() noexcept final { return references_.Increment(); }

    std::uint32_t Release() noexcept final {
        const std::uint32_t left = references_.Decrement();
        if (left == 0) delete this;
        return left;
    }

    result_t QueryInterface(interface_id_t id, void** out) noexcept final {
        if (out == nullptr) return result::kInvalidArgument;
        *out = nullptr;
        if (id == IObject::kInterfaceId || id == First::kInterfaceId) {
            *out = static_cast<First*>(this);
        } else {
            ((id == Rest::kInterfaceId ? void(*out = static_cast<Rest*>(this)) : void()), ...);
        }
        if (*out == nullptr) return QueryFurther(id, out);
        AddRef();
        return result::kOk;
    }

protected:
    virtual ~ObjectImpl() = default;

    // For a class that can get at interfaces it does not implement itself. `*out` is null when
    // called; a success leaves a reference there.
    virtual result_t QueryFurther(interface_id_t, void**) noexcept {
        return result::kInterfaceNotSupported;
    }

private:
    LiveObjectMark mark_;
    ReferenceCount references_;
};

}  // namespace vek
