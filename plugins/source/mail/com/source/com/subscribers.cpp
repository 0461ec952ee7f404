#include "com/subscribers.h"

#include <olectl.h>

#include <limits>

#include "com/border.h"

namespace plugins::mail_processing::automation {

HRESULT Subscribers::Advise(IUnknown* sink, DWORD* cookie) noexcept {
    if (cookie == nullptr) return E_POINTER;
    *cookie = 0;
    if (sink == nullptr) return E_POINTER;
    vek::RefPtr<IDispatch> events;
    if (FAILED(sink->QueryInterface(events_, events.put_void())) &&
        FAILED(sink->QueryInterface(IID_IDispatch, events.put_void())))
        return CONNECT_E_CANNOTCONNECT;
    // Cookies are never used twice: Fire goes by their order.
    if (!events || last_cookie_ == std::numeric_limits<DWORD>::max())
        return CONNECT_E_CANNOTCONNECT;
    return AtBorder([&] {
        sinks_.emplace(last_cookie_ + 1, std::move(events));
        *cookie = ++last_cookie_;
    });
}

HRESULT Subscribers::Unadvise(DWORD cookie) noexcept {
    // Out of the map before it is released, which may call back.
    const auto sink = sinks_.extract(cookie);
    return sink.empty() ? CONNECT_E_NOCONNECTION : S_OK;
}

void Subscribers::Fire(DISPID event, const OwnedVariant& argument) noexcept {
    const DWORD last = last_cookie_;
    auto place = sinks_.begin();
    while (place != sinks_.end() && place->first <= last) {
        const DWORD cookie = place->first;
        const vek::RefPtr<IDispatch> sink = place->second;
        // Each gets one of its own, so that none can spoil it for the next. Not owned.
        VARIANT given = argument.get();
        DISPPARAMS parameters{&given, nullptr, 1, 0};
        sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                     nullptr, nullptr);
        place = sinks_.upper_bound(cookie);
    }
}

}  // namespace plugins::mail_processing::automation
