#pragma once

#include <memory>

#include "com/com_object.h"
#include "com/listeners.h"
#include "mapi/exchange_extension.h"
#include "object_model/exchange_events.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The Exchange client extension: tells its subscribers of the client's events and decides nothing
// itself. On Outlook's thread. Construct with vek::MakeObject.
class CExchClientExt final
    : public com::ComObject<
          com::ComInterface<mapi::IExchExt, mapi::iid::kExchExt>,
          com::ComInterface<mapi::IExchExtSessionEvents, mapi::iid::kExchExtSessionEvents>,
          com::ComInterface<mapi::IExchExtMessageEvents, mapi::iid::kExchExtMessageEvents>> {
public:
    explicit CExchClientExt(vek::trace::TracerPtr tracer = vek::trace::ProcessTracer());

    // The events of `extension` for a subscriber in this process, which keeps it alive. Raises
    // std::bad_alloc.
    static ExchangeEventSourcePtr EventsOf(vek::RefPtr<CExchClientExt> extension);

    // Stays in a session and in the windows of messages and property sheets, of a client of the
    // build that it was made for; anywhere else it is S_FALSE. The failed call's code when the
    // client's version cannot be had.
    HRESULT STDMETHODCALLTYPE Install(mapi::IExchExtCallback* callback, ULONG context,
                                      ULONG flags) noexcept override;

    // S_FALSE, all of them: the client goes on as it would. Subscribers are told of the first two.
    HRESULT STDMETHODCALLTYPE OnDelivery(mapi::IExchExtCallback* callback) noexcept override;
    HRESULT STDMETHODCALLTYPE OnRead(mapi::IExchExtCallback* callback) noexcept override;
    HRESULT STDMETHODCALLTYPE OnReadComplete(mapi::IExchExtCallback*, ULONG) noexcept override;
    HRESULT STDMETHODCALLTYPE OnWrite(mapi::IExchExtCallback*) noexcept override;
    HRESULT STDMETHODCALLTYPE OnWriteComplete(mapi::IExchExtCallback*, ULONG) noexcept override;
    HRESULT STDMETHODCALLTYPE OnCheckNames(mapi::IExchExtCallback*) noexcept override;
    HRESULT STDMETHODCALLTYPE OnCheckNamesComplete(mapi::IExchExtCallback*,
                                                   ULONG) noexcept override;
    HRESULT STDMETHODCALLTYPE OnSubmit(mapi::IExchExtCallback*) noexcept override;
    void STDMETHODCALLTYPE OnSubmitComplete(mapi::IExchExtCallback*, ULONG) noexcept override {}

private:
    HRESULT Decide(mapi::IExchExtCallback* callback, ULONG context) const;
    using Event = void (ExchangeEvents::*)(mapi::IExchExtCallback*) noexcept;
    HRESULT Fire(Event event, mapi::IExchExtCallback* callback) noexcept;

    const vek::trace::TracerPtr tracer_;
    const std::shared_ptr<com::Listeners<ExchangeEvents*>> subscribers_ =
        std::make_shared<com::Listeners<ExchangeEvents*>>();
};

}  // namespace plugins::mail_processing
