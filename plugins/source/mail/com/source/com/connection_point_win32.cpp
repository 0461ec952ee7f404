#include "com/connection_point_win32.h"

#include <olectl.h>

#include "com/border.h"
#include "com/com_object.h"

namespace plugins::com {
namespace {

class ConnectionPoint final : public CountedObject<IConnectionPoint> {
public:
    ConnectionPoint(IConnectionPointContainer* owner, std::shared_ptr<Subscribers> subscribers)
        : owner_(vek::RefPtr<IConnectionPointContainer>::Share(owner)),
          subscribers_(std::move(subscribers)) {}

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) noexcept override {
        if (id == nullptr) return E_POINTER;
        *id = subscribers_->events();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE
    GetConnectionPointContainer(IConnectionPointContainer** out) noexcept override {
        if (out == nullptr) return E_POINTER;
        *out = vek::RefPtr(owner_).detach();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) noexcept override {
        return subscribers_->Advise(sink, cookie);
    }

    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) noexcept override {
        return subscribers_->Unadvise(cookie);
    }

    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** out) noexcept override {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        return E_NOTIMPL;
    }

private:
    void* Find(REFIID id) noexcept override {
        return id == IID_IConnectionPoint ? static_cast<IConnectionPoint*>(this) : nullptr;
    }

    const vek::RefPtr<IConnectionPointContainer> owner_;
    const std::shared_ptr<Subscribers> subscribers_;
};

}  // namespace

HRESULT ConnectionPointContainer::EnumConnectionPoints(IEnumConnectionPoints** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return E_NOTIMPL;
}

HRESULT ConnectionPointContainer::FindConnectionPoint(REFIID id, IConnectionPoint** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (id != subscribers_->events()) return CONNECT_E_NOCONNECTION;
    return AtBorder([&] { *out = vek::MakeObject<ConnectionPoint>(this, subscribers_).detach(); });
}

}  // namespace plugins::com
