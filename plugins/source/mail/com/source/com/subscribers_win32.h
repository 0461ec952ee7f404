#pragma once

#include "com/listeners.h"
#include "com/ole_values_win32.h"

namespace plugins::com {

// The sinks of one outgoing interface. On the source's thread; hold it while it fires.
class Subscribers {
public:
    explicit Subscribers(const IID& events) noexcept : events_(events) {}
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    const IID& events() const noexcept { return events_; }

    // Both as IConnectionPoint has them: E_POINTER, CONNECT_E_CANNOTCONNECT for a sink that answers
    // neither to the interface nor to IDispatch, CONNECT_E_NOCONNECTION for an unknown cookie.
    HRESULT Advise(IUnknown* sink, DWORD* cookie) noexcept;
    HRESULT Unadvise(DWORD cookie) noexcept;

    // Ends every connection.
    void Clear() noexcept;

    // Tells every sink, as Listeners does. A sink's failure concerns nobody else.
    void Fire(DISPID event, const OwnedVariant& argument) noexcept;

private:
    const IID events_;
    Listeners<vek::RefPtr<IDispatch>> sinks_;
};

}  // namespace plugins::com
