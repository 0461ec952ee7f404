#pragma once

#include <memory>

#include "com/subscribers_win32.h"
#include "object_model/exchange_events.h"

namespace plugins::mail_processing::automation {

// Creates the registered extension object, wherever it runs, and gives its own interface. On a
// thread that has initialised COM; gives CoCreateInstance's code.
HRESULT CreateExtensionObject(vek::RefPtr<IUnknown>& object) noexcept;

// The same as a source of events.
HRESULT CreateExchangeExtension(ExchangeEventSourcePtr& extension) noexcept;

// An extension object's own side: fires the events that it is told, which are those of all
// extension objects, to the sinks of _IExchExtEvents that subscribed at this one.
class ExchangeEventPublisher final : public ExchangeEvents {
public:
    // The sinks of the extension object's connection point; never null.
    explicit ExchangeEventPublisher(std::shared_ptr<com::Subscribers> subscribers) noexcept
        : subscribers_(std::move(subscribers)) {}

    void OnDelivery(mapi::IExchExtCallback* callback) noexcept override;
    void OnRead(mapi::IExchExtCallback* callback) noexcept override;

private:
    void Fire(DISPID event, mapi::IExchExtCallback* callback) const noexcept;

    const std::shared_ptr<com::Subscribers> subscribers_;
};

}  // namespace plugins::mail_processing::automation
