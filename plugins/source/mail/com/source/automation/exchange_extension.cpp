#include "automation/exchange_extension.h"

#include "automation/automation_ids.h"
#include "com/border.h"
#include "com/event_connection_win32.h"
#include "com/query.h"

namespace plugins::mail_processing::automation {
namespace {

constexpr DWORD kAnyServer =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;

// Raises DISP_E_TYPEMISMATCH for an object that is no callback.
vek::RefPtr<mapi::IExchExtCallback> CallbackFrom(const com::EventArguments& arguments) {
    arguments.Expect(1);
    vek::RefPtr<mapi::IExchExtCallback> callback;
    const HRESULT hr =
        arguments.Unknown(0)->QueryInterface(mapi::iid::kExchExtCallback, callback.put_void());
    if (FAILED(hr) || !callback) helpers::ThrowHResult(DISP_E_TYPEMISMATCH);
    return callback;
}

class ExchangeExtension final : public ExchangeEventSource {
public:
    explicit ExchangeExtension(vek::RefPtr<IUnknown> object) noexcept
        : object_(std::move(object)) {}

    HRESULT Advise(ExchangeEvents& events, EventConnectionPtr& connection) noexcept override {
        return com::AtBorder([&] {
            connection =
                com::ConnectEvents(object_.get(), iid::kExchExtEvents,
                                   [&events](DISPID event, const com::EventArguments& arguments) {
                                       if (event == exchange_event::kOnDelivery) {
                                           events.OnDelivery(CallbackFrom(arguments).get());
                                       } else if (event == exchange_event::kOnRead) {
                                           events.OnRead(CallbackFrom(arguments).get());
                                       }
                                   });
        });
    }

private:
    const vek::RefPtr<IUnknown> object_;
};

}  // namespace

HRESULT CreateExtensionObject(vek::RefPtr<IUnknown>& object) noexcept {
    return ::CoCreateInstance(kExchClientExtClass, nullptr, kAnyServer, iid::kExchExtObject,
                              object.put_void());
}

HRESULT CreateExchangeExtension(ExchangeEventSourcePtr& extension) noexcept {
    return com::AtBorder([&] {
        vek::RefPtr<IUnknown> object;
        helpers::CheckGiven(CreateExtensionObject(object), object);
        extension = std::make_shared<ExchangeExtension>(std::move(object));
    });
}

void ExchangeEventPublisher::OnDelivery(mapi::IExchExtCallback* callback) noexcept {
    Fire(exchange_event::kOnDelivery, callback);
}

void ExchangeEventPublisher::OnRead(mapi::IExchExtCallback* callback) noexcept {
    Fire(exchange_event::kOnRead, callback);
}

void ExchangeEventPublisher::Fire(DISPID event, mapi::IExchExtCallback* callback) const noexcept {
    // A sink may be the end of this.
    const auto subscribers = subscribers_;
    subscribers->Fire(event, com::OwnedVariant(callback));
}

}  // namespace plugins::mail_processing::automation
