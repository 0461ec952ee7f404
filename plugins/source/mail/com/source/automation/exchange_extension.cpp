#include "automation/exchange_extension.h"

#include "automation/automation_ids.h"
#include "automation/event_connection.h"
#include "com/border.h"
#include "com/query.h"

namespace plugins::mail_processing::automation {
namespace {

constexpr DWORD kAnyServer =
    CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;

// Null for an object that is no callback.
vek::RefPtr<mapi::IExchExtCallback> CallbackFrom(const EventArguments& arguments) {
    arguments.Expect(1);
    vek::RefPtr<mapi::IExchExtCallback> callback;
    const HRESULT hr =
        arguments.Unknown(0)->QueryInterface(mapi::iid::kExchExtCallback, callback.put_void());
    if (FAILED(hr) || !callback) helpers::ThrowHResult(DISP_E_TYPEMISMATCH);
    return callback;
}

}  // namespace

HRESULT ExchangeExtension::Advise(ExchangeEvents& events, EventConnectionPtr& connection) noexcept {
    return AtBorder([&] {
        connection = Connect(object_.get(), iid::kExchExtEvents,
                             [&events](DISPID event, const EventArguments& arguments) {
                                 if (event == exchange_event::kOnDelivery) {
                                     events.OnDelivery(CallbackFrom(arguments).get());
                                 } else if (event == exchange_event::kOnRead) {
                                     events.OnRead(CallbackFrom(arguments).get());
                                 }
                             });
    });
}

HRESULT CreateExchangeExtension(ExchangeEventSourcePtr& extension) noexcept {
    return AtBorder([&] {
        vek::RefPtr<IUnknown> object;
        helpers::CheckGiven(::CoCreateInstance(kExchClientExtClass, nullptr, kAnyServer,
                                               iid::kExchExtObject, object.put_void()),
                            object);
        extension = std::make_shared<ExchangeExtension>(std::move(object));
    });
}

}  // namespace plugins::mail_processing::automation
