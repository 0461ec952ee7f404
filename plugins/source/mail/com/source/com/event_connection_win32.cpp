#include "com/event_connection_win32.h"

#include <ocidl.h>

#include <utility>

#include "com/border.h"
#include "com/com_object.h"
#include "com/dispatch_win32.h"
#include "com/query.h"

namespace plugins::com {
namespace {

// Hears the events of one outgoing interface and hands them on, until it is muted.
class EventSink final : public CountedObject<IDispatch> {
public:
    EventSink(const IID& events, EventHandler handler) noexcept
        : events_(events), handler_(std::move(handler)) {}

    // No call of the handler begins afterwards, whoever holds on to the sink.
    void Mute() noexcept { muted_ = true; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override {
        if (count == nullptr) return E_POINTER;
        *count = 0;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept override {
        if (info != nullptr) *info = nullptr;
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID,
                                            DISPID*) noexcept override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID id, LCID, WORD kind,
                                     DISPPARAMS* parameters, VARIANT*, EXCEPINFO*,
                                     UINT* wrong_argument) noexcept override {
        if (const HRESULT wrong = ExpectMethodCall(id, kind); wrong != S_OK) return wrong;
        if (muted_) return S_OK;
        // The handler may end the subscription, and with it the last other reference.
        const auto self = vek::RefPtr<EventSink>::Share(this);
        return AtBorder([&] { handler_(event, EventArguments(parameters, wrong_argument)); });
    }

private:
    void* Find(REFIID id) noexcept override {
        return id == IID_IDispatch || id == events_ ? static_cast<IDispatch*>(this) : nullptr;
    }

    const IID events_;
    const EventHandler handler_;
    bool muted_ = false;
};

class SinkConnection final : public mail_processing::EventConnection {
public:
    explicit SinkConnection(const IID& events) noexcept : events_(events) {}
    ~SinkConnection() override { Unadvise(); }

    void Advise(IUnknown* source, IUnknown* sink) {
        auto container = Query<IConnectionPointContainer>(source, IID_IConnectionPointContainer);
        vek::RefPtr<IConnectionPoint> point;
        helpers::CheckGiven(container->FindConnectionPoint(events_, point.put()), point);
        helpers::CheckHResult(point->Advise(sink, &cookie_));
        source_ = std::move(container);
    }

    HRESULT Unadvise() noexcept override {
        // Taken out first: the calls made here may raise events whose handlers end this once more
        // or destroy it.
        const auto source = std::move(source_);
        if (!source) return S_OK;
        const DWORD cookie = cookie_;
        vek::RefPtr<IConnectionPoint> point;
        const HRESULT found = source->FindConnectionPoint(events_, point.put());
        if (FAILED(found)) return found;
        return point ? point->Unadvise(cookie) : E_UNEXPECTED;
    }

private:
    const IID events_;
    vek::RefPtr<IConnectionPointContainer> source_;  // null unless advised
    DWORD cookie_ = 0;
};

// Mutes its sink before it ends, or when it cannot be made.
class HandlerConnection final : public mail_processing::EventConnection {
public:
    explicit HandlerConnection(vek::RefPtr<EventSink> sink) noexcept : sink_(std::move(sink)) {}
    ~HandlerConnection() override { Unadvise(); }

    void Advise(IUnknown* source, const IID& events) {
        connection_ = ConnectSink(source, events, sink_.get());
    }

    HRESULT Unadvise() noexcept override {
        const auto sink = std::move(sink_);
        const auto connection = std::move(connection_);
        if (sink) sink->Mute();
        return connection ? connection->Unadvise() : S_OK;
    }

private:
    vek::RefPtr<EventSink> sink_;
    mail_processing::EventConnectionPtr connection_;
};

}  // namespace

mail_processing::EventConnectionPtr ConnectEvents(IUnknown* source, const IID& events,
                                                  EventHandler handler) {
    auto connection =
        std::make_unique<HandlerConnection>(vek::MakeObject<EventSink>(events, std::move(handler)));
    connection->Advise(source, events);
    return connection;
}

vek::RefPtr<IDispatch> MakeEventSink(const IID& events, EventHandler handler) {
    return vek::MakeObject<EventSink>(events, std::move(handler));
}

mail_processing::EventConnectionPtr ConnectSink(IUnknown* source, const IID& events,
                                                IUnknown* sink) {
    auto connection = std::make_unique<SinkConnection>(events);
    connection->Advise(source, sink);
    return connection;
}

}  // namespace plugins::com
