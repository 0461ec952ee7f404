#pragma once

#include <functional>

#include "automation/event_arguments.h"
#include "com/counted_object.h"

namespace plugins::mail_processing::automation {

// Hears the events of one outgoing interface and hands them on, until it is muted. On the source's
// thread; may be entered from within itself. Construct with vek::MakeObject.
class EventSink final : public mapi::CountedObject<IDispatch> {
public:
    // Takes an event, or leaves it when it is none of its own; what it raises is what the source
    // is told.
    using Handler = std::function<void(DISPID, const EventArguments&)>;

    EventSink(const IID& events, Handler handler) noexcept
        : events_(events), handler_(std::move(handler)) {}

    // No call of the handler begins afterwards, whoever holds on to the sink.
    void Mute() noexcept { muted_ = true; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID,
                                            DISPID*) noexcept override;
    // S_OK for an event that nobody takes: a source may drop who fails.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* parameters,
                                     VARIANT*, EXCEPINFO*, UINT*) noexcept override;

private:
    void* Find(REFIID id) noexcept override;

    const IID events_;
    const Handler handler_;
    bool muted_ = false;
};

}  // namespace plugins::mail_processing::automation
