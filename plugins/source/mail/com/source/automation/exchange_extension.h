#pragma once

#include "object_model/exchange_events.h"
#include "vek/core/ref_ptr.h"

namespace plugins::mail_processing::automation {

// The extension object, wherever it runs, as a source of events.
class ExchangeExtension final : public ExchangeEventSource {
public:
    explicit ExchangeExtension(vek::RefPtr<IUnknown> object) noexcept
        : object_(std::move(object)) {}

    HRESULT Advise(ExchangeEvents& events, EventConnectionPtr& connection) noexcept override;

private:
    const vek::RefPtr<IUnknown> object_;
};

// Creates the registered extension object. On a thread that has initialised COM; gives
// CoCreateInstance's code.
HRESULT CreateExchangeExtension(ExchangeEventSourcePtr& extension) noexcept;

}  // namespace plugins::mail_processing::automation
