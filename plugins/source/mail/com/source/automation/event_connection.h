#pragma once

#include "automation/event_sink.h"
#include "object_model/object_model.h"

namespace plugins::mail_processing::automation {

// Subscribes `handler` to the events of `source`, which the connection holds. Raises
// HResultCodeException with the code of the call that failed; then nothing stays advised, and the
// handler is not called again even if the source keeps it.
EventConnectionPtr Connect(IUnknown* source, const IID& events, EventSink::Handler handler);

}  // namespace plugins::mail_processing::automation
