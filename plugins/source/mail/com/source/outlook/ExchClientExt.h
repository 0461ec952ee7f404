#pragma once

#include <memory>

#include "com/com_object.h"
#include "mapi/exchange_extension.h"
#include "outlook/exchange_subscribers.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// The Exchange client extension: tells its subscribers of the client's events and decides nothing
// itself. On Outlook's thread. Construct with vek::MakeObject.
class CExchClientExt final
    : public mapi::ComObject<
          mapi::ComInterface<mapi::IExchExt, mapi::iid::kExchExt>,
          mapi::ComInterface<mapi::IExchExtSessionEvents, mapi::iid::kExchExtSessionEvents>,
          mapi::ComInterface<mapi::IExchExtMessageEvents, mapi::iid::kExchExtMessageEvents>> {
public:
    explicit CExchClientExt(vek::trace::TracerPtr tracer = vek::trace::ProcessTracer());

    // For a subscriber in this process; it keeps the extension alive. Raises for want of memory.
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
    HRESULT Fire(ExchangeSubscribers::Event event, mapi::IExchExtCallback* callback) noexcept;

    const vek::trace::TracerPtr tracer_;
    const std::shared_ptr<ExchangeSubscribers> subscribers_ =
        std::make_shared<ExchangeSubscribers>();
};

}  // namespace plugins::mail_processing
