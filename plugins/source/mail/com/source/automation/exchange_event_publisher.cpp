#include "automation/exchange_event_publisher.h"

#include "automation/automation_ids.h"

namespace plugins::mail_processing::automation {

void ExchangeEventPublisher::OnDelivery(mapi::IExchExtCallback* callback) noexcept {
    Fire(exchange_event::kOnDelivery, callback);
}

void ExchangeEventPublisher::OnRead(mapi::IExchExtCallback* callback) noexcept {
    Fire(exchange_event::kOnRead, callback);
}

void ExchangeEventPublisher::Fire(DISPID event, mapi::IExchExtCallback* callback) const noexcept {
    // A subscriber may be the end of this.
    const auto subscribers = subscribers_;
    subscribers->Fire(event, OwnedVariant(callback));
}

}  // namespace plugins::mail_processing::automation
