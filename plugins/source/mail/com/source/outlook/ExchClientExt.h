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
// itself. The client makes objects of its own besides the add-in's, so the subscribers of the
// process are one list: whichever object the client tells, everyone hears it, once. On Outlook's
// thread. The object that it is part of counts its references.
class CExchClientExt : public mapi::IExchExt,
                       public mapi::IExchExtSessionEvents,
                       public mapi::IExchExtMessageEvents {
public:
    explicit CExchClientExt(vek::trace::TracerPtr tracer = vek::trace::ProcessTracer());
    CExchClientExt(const CExchClientExt&) = delete;
    CExchClientExt& operator=(const CExchClientExt&) = delete;

    // One of the three.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override = 0;
    ULONG STDMETHODCALLTYPE AddRef() override = 0;
    ULONG STDMETHODCALLTYPE Release() override = 0;

    // `extension` for a subscriber in this process, kept alive by what is given here but not by the
    // connections made at it. Raises std::bad_alloc.
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

protected:
    // Ends the connections that were made at this object.
    virtual ~CExchClientExt();

    // Gives the client's interface `id`, without a reference; null for any other.
    void* FindClientInterface(REFIID id) noexcept;

private:
    HRESULT Decide(mapi::IExchExtCallback* callback, ULONG context) const;
    using Event = void (ExchangeEvents::*)(mapi::IExchExtCallback*) noexcept;
    HRESULT Fire(Event event, mapi::IExchExtCallback* callback) noexcept;

    const vek::trace::TracerPtr tracer_;
    // A listener, and the object that it subscribed at.
    struct Subscriber {
        ExchangeEvents* events;
        const CExchClientExt* at;
        ExchangeEvents& operator*() const noexcept { return *events; }
    };
    using Subscribers = com::Listeners<Subscriber>;
    static std::shared_ptr<Subscribers> ProcessSubscribers();
    const std::shared_ptr<Subscribers> subscribers_ = ProcessSubscribers();
};

// An extension object with the client's interfaces and nothing more. Construct with
// vek::MakeObject.
class PlainExchClientExt final : public com::CountedObject<CExchClientExt> {
public:
    using CountedObject::CountedObject;

private:
    void* Find(REFIID id) noexcept override { return FindClientInterface(id); }
};

}  // namespace plugins::mail_processing
