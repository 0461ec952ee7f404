#pragma once

#include <memory>

#include "com/subscribers.h"
#include "object_model/exchange_events.h"

namespace plugins::mail_processing::automation {

// Tells the subscribers of _IExchExtEvents what it is told.
class ExchangeEventPublisher final : public ExchangeEvents {
public:
    // Those of the extension object's connection point, and never null.
    explicit ExchangeEventPublisher(std::shared_ptr<Subscribers> subscribers) noexcept
        : subscribers_(std::move(subscribers)) {}

    void OnDelivery(mapi::IExchExtCallback* callback) noexcept override;
    void OnRead(mapi::IExchExtCallback* callback) noexcept override;

private:
    void Fire(DISPID event, mapi::IExchExtCallback* callback) const noexcept;

    const std::shared_ptr<Subscribers> subscribers_;
};

}  // namespace plugins::mail_processing::automation
