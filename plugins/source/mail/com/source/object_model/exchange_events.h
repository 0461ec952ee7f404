#pragma once

// The events that the Exchange client extension fires to its subscribers (_IExchExtEvents). On
// Outlook's thread, at once, from within the event of the client.

#include "object_model/object_model.h"

namespace plugins::mail_processing {

class ExchangeEvents {
public:
    // DISPID 1: the client has delivered a message.
    virtual void OnDelivery(mapi::IExchExtCallback* callback) noexcept = 0;
    // DISPID 2: a message is about to be shown.
    virtual void OnRead(mapi::IExchExtCallback* callback) noexcept = 0;

protected:
    ~ExchangeEvents() = default;
};

// The extension object as its creator sees it ({A574BA17-27EB-49AB-A5F6-304F2C26D39D}).
class ExchangeEventSource {
public:
    virtual ~ExchangeEventSource() = default;
    // `events` outlives the connection.
    virtual HRESULT Advise(ExchangeEvents& events, EventConnectionPtr& connection) noexcept = 0;
};
using ExchangeEventSourcePtr = std::shared_ptr<ExchangeEventSource>;

}  // namespace plugins::mail_processing
