#pragma once

#include <functional>

#include "com/event_arguments_win32.h"
#include "object_model/object_model.h"

namespace plugins::com {

// Takes an event, or leaves one that is not its own; an exception becomes the code that the source
// is given.
using EventHandler = std::function<void(DISPID, const EventArguments&)>;

// Subscribes `handler` to the events of `source` through its connection point for `events`; the
// connection holds the source. On the source's thread; the handler may be entered from within
// itself and may end the connection. An event that it leaves is answered with S_OK: a source may
// drop a sink that fails. What is no call of a method is none of an event, and fails.
//
// Raises HResultCodeException with the code of the call that failed, E_POINTER without a source;
// then nothing stays advised, and the handler is not called again even if the source keeps it.
mail_processing::EventConnectionPtr ConnectEvents(IUnknown* source, const IID& events,
                                                  EventHandler handler);

// The same in its two halves. A sink with a handler, which may be called for as long as somebody
// has the sink; and the connection of any sink, which ends when the source says so.
vek::RefPtr<IDispatch> MakeEventSink(const IID& events, EventHandler handler);
mail_processing::EventConnectionPtr ConnectSink(IUnknown* source, const IID& events,
                                                IUnknown* sink);

}  // namespace plugins::com
