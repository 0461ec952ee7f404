#pragma once

#include <list>
#include <memory>

#include "object_model/exchange_events.h"

namespace plugins::mail_processing {

// Those who are told of an extension's events. On Outlook's thread; held by shared_ptr alone,
// which connections share.
class ExchangeSubscribers final : public ExchangeEventSource,
                                  public std::enable_shared_from_this<ExchangeSubscribers> {
public:
    HRESULT Advise(ExchangeEvents& events, EventConnectionPtr& connection) noexcept override;

    // Calls `event` of everyone who was subscribed when this began and still is. They may
    // subscribe, unsubscribe and cause further events from within.
    using Event = void (ExchangeEvents::*)(mapi::IExchExtCallback*) noexcept;
    void Fire(Event event, mapi::IExchExtCallback* callback) noexcept;

private:
    using Subscribers = std::list<ExchangeEvents*>;  // null: to be removed
    class Subscription;

    void Remove(Subscribers::iterator place) noexcept;

    Subscribers subscribers_;
    int firing_ = 0;  // depth
};

}  // namespace plugins::mail_processing
