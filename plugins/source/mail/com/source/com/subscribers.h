#pragma once

#include <map>

#include "com/ole_values.h"

namespace plugins::mail_processing::automation {

// Who is told of the events of one outgoing interface. On the source's thread; subscribers may
// subscribe and unsubscribe from within an event. Hold it while it fires.
class Subscribers {
public:
    explicit Subscribers(const IID& events) noexcept : events_(events) {}
    Subscribers(const Subscribers&) = delete;
    Subscribers& operator=(const Subscribers&) = delete;

    const IID& events() const noexcept { return events_; }

    // Both as IConnectionPoint has them. A sink is one that answers to the interface or to
    // IDispatch.
    HRESULT Advise(IUnknown* sink, DWORD* cookie) noexcept;
    HRESULT Unadvise(DWORD cookie) noexcept;

    // Tells those who are subscribed when this begins and still are when their turn comes, in the
    // order of their subscribing. A subscriber's failure is its own.
    void Fire(DISPID event, const OwnedVariant& argument) noexcept;

private:
    const IID events_;
    DWORD last_cookie_ = 0;
    std::map<DWORD, vek::RefPtr<IDispatch>> sinks_;
};

}  // namespace plugins::mail_processing::automation
