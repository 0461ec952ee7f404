#include "com/subscribers_win32.h"

#include <olectl.h>

#include "com/border.h"

namespace plugins::com {

HRESULT Subscribers::Advise(IUnknown* sink, DWORD* cookie) noexcept {
    if (cookie == nullptr) return E_POINTER;
    *cookie = 0;
    if (sink == nullptr) return E_POINTER;
    vek::RefPtr<IDispatch> events;
    if (FAILED(sink->QueryInterface(events_, events.put_void())) &&
        FAILED(sink->QueryInterface(IID_IDispatch, events.put_void())))
        return CONNECT_E_CANNOTCONNECT;
    if (!events) return CONNECT_E_CANNOTCONNECT;
    return AtBorder([&]() -> HRESULT {
        *cookie = sinks_.Add(std::move(events));
        return *cookie != 0 ? S_OK : CONNECT_E_CANNOTCONNECT;
    });
}

HRESULT Subscribers::Unadvise(DWORD cookie) noexcept {
    return sinks_.Remove(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
}

void Subscribers::Clear() noexcept {
    sinks_.RemoveIf([](const auto&) { return true; });
}

void Subscribers::Fire(DISPID event, const OwnedVariant& argument) noexcept {
    sinks_.Fire([&](IDispatch& sink) {
        // Each gets one of its own, so that none can spoil it for the next. Not owned.
        VARIANT given = argument.get();
        DISPPARAMS parameters{&given, nullptr, 1, 0};
        sink.Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr,
                    nullptr, nullptr);
    });
}

}  // namespace plugins::com
