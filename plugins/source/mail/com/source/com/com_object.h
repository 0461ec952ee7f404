#pragma once

// Counting and the interface query of COM objects. An object is constructed with vek::MakeObject
// and deletes itself with its last reference; references may be counted on any thread.

#include <utility>

#include "mapi/interface_ids.h"
#include "mapi/mapi_interfaces.h"
#include "vek/core/object.h"

namespace plugins::com {

// AddRef and Release of an object with these interfaces, each of them derived from IUnknown
// directly. The first takes the constructor's arguments.
template <class First, class... Rest>
class ReferenceCounted : public First, public Rest... {
public:
    template <class... Arguments>
    explicit ReferenceCounted(Arguments&&... arguments)
        : First(std::forward<Arguments>(arguments)...) {}
    ReferenceCounted(const ReferenceCounted&) = delete;
    ReferenceCounted& operator=(const ReferenceCounted&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() final { return references_.Increment(); }

    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = references_.Decrement();
        if (left == 0) delete this;
        return left;
    }

protected:
    virtual ~ReferenceCounted() = default;

private:
    vek::ReferenceCount references_;
};

// An object of the plug-in's own: counted among the module's live objects. The first interface
// stands for its identity.
template <class First, class... Rest>
class CountedObject : public ReferenceCounted<First, Rest...> {
public:
    using ReferenceCounted<First, Rest...>::ReferenceCounted;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) final {
        if (out == nullptr) return E_POINTER;
        *out = id == mapi::iid::kUnknown ? static_cast<First*>(this) : Find(id);
        if (*out == nullptr) return E_NOINTERFACE;
        this->AddRef();
        return S_OK;
    }

protected:
    // Gives this object as its interface `id`, without a reference; null when it has none such.
    virtual void* Find(REFIID id) noexcept = 0;

private:
    vek::LiveObjectMark mark_;
};

// An interface and the id that it is asked for with.
template <class Type, const IID& kInterfaceId>
struct ComInterface {
    using Interface = Type;
    static constexpr const IID& kId = kInterfaceId;
};

// An object of the plug-in's own all of whose interfaces are known here by their ids.
template <class First, class... Rest>
class ComObject : public CountedObject<typename First::Interface, typename Rest::Interface...> {
    void* Find(REFIID id) noexcept final {
        if (id == First::kId) return static_cast<typename First::Interface*>(this);
        void* found = nullptr;
        ((id == Rest::kId ? void(found = static_cast<typename Rest::Interface*>(this)) : void()),
         ...);
        return found;
    }
};

}  // namespace plugins::com
