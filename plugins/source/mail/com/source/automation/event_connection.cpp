#include "automation/event_connection.h"

#include <ocidl.h>

#include <utility>

#include "com/query.h"

namespace plugins::mail_processing::automation {
namespace {

class Connection final : public EventConnection {
public:
    Connection(const IID& events, EventSink::Handler handler)
        : events_(events), sink_(vek::MakeObject<EventSink>(events, std::move(handler))) {}
    ~Connection() override { Unadvise(); }

    void Advise(IUnknown* source) {
        auto container = Query<IConnectionPointContainer>(source, IID_IConnectionPointContainer);
        vek::RefPtr<IConnectionPoint> point;
        helpers::CheckGiven(container->FindConnectionPoint(events_, point.put()), point);
        helpers::CheckHResult(point->Advise(sink_.get(), &cookie_));
        source_ = std::move(container);
    }

    HRESULT Unadvise() noexcept override {
        // Taken out first: what is called here may raise events whose handlers end this once more
        // or destroy it.
        const auto sink = std::move(sink_);
        const auto source = std::move(source_);
        if (sink) sink->Mute();
        if (!source) return S_OK;
        const DWORD cookie = cookie_;
        vek::RefPtr<IConnectionPoint> point;
        const HRESULT found = source->FindConnectionPoint(events_, point.put());
        if (FAILED(found)) return found;
        return point ? point->Unadvise(cookie) : E_UNEXPECTED;
    }

private:
    const IID events_;
    vek::RefPtr<EventSink> sink_;
    vek::RefPtr<IConnectionPointContainer> source_;  // null unless advised
    DWORD cookie_ = 0;
};

}  // namespace

EventConnectionPtr Connect(IUnknown* source, const IID& events, EventSink::Handler handler) {
    auto connection = std::make_unique<Connection>(events, std::move(handler));
    connection->Advise(source);
    return connection;
}

}  // namespace plugins::mail_processing::automation
