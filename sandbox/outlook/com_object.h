#pragma once

#include <memory>
#include <thread>
#include <utility>

#include "com/border.h"
#include "mapi/interface_ids.h"
#include "sandbox/outlook/runtime.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"

namespace sandbox::outlook {

namespace iid = plugins::mapi::iid;

// The interface query and the border of a COM object that offers `Interface`, which is derived from
// all the interfaces that `kIds` name. Construct such classes with vek::MakeObject.
//
// An object belongs to the thread that constructed it, unless it is free-threaded. Its references
// may be counted on any, where the store is not pedantic.
template <class Interface, const IID&... kIds>
class ComObject : public Interface {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    ULONG STDMETHODCALLTYPE AddRef() final {
        runtime_->EnterReference(Owner());
        return references_.Increment();
    }
    ULONG STDMETHODCALLTYPE Release() final {
        runtime_->EnterReference(Owner());
        const ULONG left = references_.Decrement();
        if (left == 0) delete this;
        return left;
    }
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) final {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        return Enter(Call::kQueryInterface, [&]() -> HRESULT {
            if (!(id == iid::kUnknown || ((id == kIds) || ...))) return E_NOINTERFACE;
            *out = static_cast<Interface*>(this);
            this->AddRef();
            return S_OK;
        });
    }

protected:
    enum class Threads { kOne, kAny };

    explicit ComObject(std::shared_ptr<Runtime> runtime, Threads threads = Threads::kOne)
        : runtime_(std::move(runtime)),
          live_(*runtime_,
                threads == Threads::kAny ? std::thread::id() : std::this_thread::get_id()) {}
    virtual ~ComObject() = default;

    // The border of every method: counts the call and either fails as planned or runs `body`,
    // whose exceptions become codes.
    template <class Body>
    HRESULT Enter(Call kind, Body&& body) noexcept {
        return plugins::com::AtBorder([&]() -> HRESULT {
            const HRESULT entered = runtime_->Enter(kind, Owner());
            return entered == S_OK ? body() : entered;
        });
    }

    // The answer of a method that this stand-in does not have.
    HRESULT Unsupported() noexcept {
        return Enter(Call::kUnsupported, []() -> HRESULT { return MAPI_E_NO_SUPPORT; });
    }

    const std::shared_ptr<Runtime>& runtime() const { return runtime_; }
    MapiMemory& memory() const { return runtime_->memory(); }

private:
    // The thread that may call.
    std::thread::id Owner() const {
        return live_.thread() == std::thread::id() ? std::this_thread::get_id() : live_.thread();
    }

    vek::ReferenceCount references_;
    const std::shared_ptr<Runtime> runtime_;
    const LiveObject live_;
};

// Gives the caller a reference to `object` through one of its interfaces.
template <class Interface, class Object>
HRESULT GiveTo(Interface** out, vek::RefPtr<Object> object) {
    *out = object.detach();
    return S_OK;
}

}  // namespace sandbox::outlook
