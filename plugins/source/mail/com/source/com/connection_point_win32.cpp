#include "com/connection_point_win32.h"

#include <olectl.h>

#include <utility>

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

// Enumerates one connection point.
class PointEnumerator final : public CountedObject<IEnumConnectionPoints> {
public:
    PointEnumerator(vek::RefPtr<IConnectionPoint> point, bool is_left) noexcept
        : point_(std::move(point)), is_left_(is_left) {}

    HRESULT STDMETHODCALLTYPE Next(ULONG count, IConnectionPoint** out,
                                   ULONG* given) noexcept override {
        if (out == nullptr || (given == nullptr && count != 1)) return E_POINTER;
        const ULONG taken = Take(count);
        if (taken != 0) *out = vek::RefPtr(point_).detach();
        if (given != nullptr) *given = taken;
        return taken == count ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override {
        return Take(count) == count ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE Reset() noexcept override {
        is_left_ = true;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints** out) noexcept override {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        return AtBorder(
            [&] { *out = vek::MakeObject<PointEnumerator>(point_, is_left_).detach(); });
    }

private:
    void* Find(REFIID id) noexcept override {
        return id == IID_IEnumConnectionPoints ? static_cast<IEnumConnectionPoints*>(this)
                                               : nullptr;
    }

    ULONG Take(ULONG count) noexcept {
        return count != 0 && std::exchange(is_left_, false) ? 1 : 0;
    }

    const vek::RefPtr<IConnectionPoint> point_;
    bool is_left_;
};

}  // namespace

HRESULT ConnectionPointContainer::EnumConnectionPoints(IEnumConnectionPoints** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return AtBorder([&] {
        vek::RefPtr<IConnectionPoint> point = vek::MakeObject<ConnectionPoint>(this, subscribers_);
        *out = vek::MakeObject<PointEnumerator>(std::move(point), true).detach();
    });
}

HRESULT ConnectionPointContainer::FindConnectionPoint(REFIID id, IConnectionPoint** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (id != subscribers_->events()) return CONNECT_E_NOCONNECTION;
    return AtBorder([&] { *out = vek::MakeObject<ConnectionPoint>(this, subscribers_).detach(); });
}

}  // namespace plugins::com
