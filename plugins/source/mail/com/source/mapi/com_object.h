#pragma once

// A COM object of the plug-in's own.

#include "mapi/interface_ids.h"
#include "mapi/mapi_interfaces.h"
#include "vek/core/object.h"

namespace plugins::mapi {

// An interface and the id that it is asked for with.
template <class Type, const IID& kInterfaceId>
struct Offer {
    using Interface = Type;
    static constexpr const IID& kId = kInterfaceId;
};

// Implements counting, the interface query and the module's count of live objects for a class with
// these interfaces, each of them derived from IUnknown directly. The first stands for the object.
// Construct such classes with vek::MakeObject.
template <class First, class... Rest>
class ComObject : public First::Interface, public Rest::Interface... {
public:
    ComObject() = default;
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() final { return references_.Increment(); }

    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = references_.Decrement();
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) final {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        if (id == iid::kUnknown || id == First::kId) {
            *out = static_cast<typename First::Interface*>(this);
        } else {
            ((id == Rest::kId ? void(*out = static_cast<typename Rest::Interface*>(this)) : void()),
             ...);
        }
        if (*out == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

protected:
    virtual ~ComObject() = default;

private:
    vek::LiveObjectMark mark_;
    vek::ReferenceCount references_;
};

}  // namespace plugins::mapi
