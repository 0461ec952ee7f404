#pragma once

#include <utility>

#include "mapi/interface_ids.h"
#include "mapi/mapi_interfaces.h"
#include "vek/core/object.h"

namespace plugins::mapi {

// Counting, the interface query and the module's count of live objects for a COM object of the
// plug-in's own with these interfaces, each of them derived from IUnknown directly. The first
// stands for the object and takes the constructor's arguments. Construct such classes with
// vek::MakeObject.
template <class First, class... Rest>
class CountedObject : public First, public Rest... {
public:
    template <class... Arguments>
    explicit CountedObject(Arguments&&... arguments)
        : First(std::forward<Arguments>(arguments)...) {}
    CountedObject(const CountedObject&) = delete;
    CountedObject& operator=(const CountedObject&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() final { return references_.Increment(); }

    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = references_.Decrement();
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) final {
        if (out == nullptr) return E_POINTER;
        *out = id == iid::kUnknown ? static_cast<First*>(this) : Find(id);
        if (*out == nullptr) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

protected:
    virtual ~CountedObject() = default;

    // This object as its interface `id`, without a reference; null when it has none such.
    virtual void* Find(REFIID id) noexcept = 0;

private:
    vek::LiveObjectMark mark_;
    vek::ReferenceCount references_;
};

}  // namespace plugins::mapi
