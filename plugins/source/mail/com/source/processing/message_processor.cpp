#include "processing/message_processor.h"

#include <mutex>
#include <optional>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/entry_id.h"
#include "mapi/interface_ids.h"
#include "model/mail_message_impl.h"
#include "processing/check_worker.h"
#include "processing/invoke_dispatcher.h"
#include "processing/waiting.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"
#include "vek/trace/repeat_limiter.h"
#include "vek/trace/scope.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

// Ends the owner's part in a check: nothing of the message outlives it, whoever still holds the
// mail object or a stream of it.
class OwnerPart {
public:
    explicit OwnerPart(InvokeDispatcher& dispatcher) noexcept : dispatcher_(dispatcher) {}
    ~OwnerPart() { dispatcher_.End(); }
    OwnerPart(const OwnerPart&) = delete;
    OwnerPart& operator=(const OwnerPart&) = delete;

private:
    InvokeDispatcher& dispatcher_;
};

}  // namespace

// Lets those who end the background thread by force find the check under way.
class MessageProcessor::BackgroundCheck {
public:
    BackgroundCheck(MessageProcessor& processor, std::shared_ptr<InvokeDispatcher> dispatcher)
        : processor_(processor) {
        Publish(std::move(dispatcher));
    }
    ~BackgroundCheck() { Publish(nullptr); }
    BackgroundCheck(const BackgroundCheck&) = delete;
    BackgroundCheck& operator=(const BackgroundCheck&) = delete;

private:
    void Publish(std::shared_ptr<InvokeDispatcher> dispatcher) {
        const std::lock_guard guard(processor_.background_lock_);
        if (dispatcher && processor_.background_closed_) dispatcher->Close();
        processor_.background_dispatcher_ = std::move(dispatcher);
    }

    MessageProcessor& processor_;
};

std::shared_ptr<MessageProcessor> MessageProcessor::Create(
    std::shared_ptr<void> context, std::shared_ptr<const mapi::MapiFunctions> functions,
    IMAPISession* session, ProcessorEnvironment environment) {
    return std::shared_ptr<MessageProcessor>(new MessageProcessor(
        std::move(context), std::move(functions), session, std::move(environment)));
}

MessageProcessor::MessageProcessor(std::shared_ptr<void> context,
                                   std::shared_ptr<const mapi::MapiFunctions> functions,
                                   IMAPISession* session, ProcessorEnvironment environment)
    : environment_(std::move(environment)),
      context_(std::move(context)),
      functions_(std::move(functions)),
      scanner_(vek::MakeObject<MailScannerProxy>(environment_.tracer, environment_.services)),
      session_(vek::RefPtr<IMAPISession>::Share(session)) {}

vek::RefPtr<IMAPISession> MessageProcessor::Logon(char* name, ULONG flags) const {
    vek::RefPtr<IMAPISession> session;
    helpers::CheckHResult(functions_->logon_ex(0, name, name, flags, session.put()));
    return session;
}

vek::RefPtr<IMAPISession> MessageProcessor::TakeSession(bool background) const {
    if (session_) return session_;
    if (background) return background_session_;
    // Without MAPI_NEW_SESSION Outlook's own session is shared.
    char no_profile[] = "";
    return Logon(no_profile, MAPI_EXTENDED);
}

template <class Body>
void MessageProcessor::Observe(ObservedCheck check, const Body& check_message) {
    if (check.number == 0) check.number = environment_.observer.NewNumber();
    environment_.observer.OnBegun(check);
    vek::result_t code = vek::result::kOk;
    try {
        code = check_message();
    } catch (...) {
        environment_.observer.OnEnded(check, vek::CurrentExceptionResult());
        throw;
    }
    environment_.observer.OnEnded(check, code);
}

void MessageProcessor::ProcessMessage(IMessage* message, bool incoming, bool background,
                                      const ObservedCheck& check) {
    Observe(check, [&] { return Check(message, incoming, background); });
}

vek::result_t MessageProcessor::Check(IMessage* message, bool incoming, bool background) {
    const trace::Scope scope(environment_.tracer, "ProcessMessage");
    vek::Check(message != nullptr);

    const auto done = NewEvent(environment_.system, vek::platform::EventKind::kAutoReset);
    // What the scanner's calls have to say: it may call without end.
    const trace::TracerPtr tracer = trace::LimitRepeats(environment_.tracer);
    const auto dispatcher = std::make_shared<InvokeDispatcher>(tracer, environment_.system);
    // Until the owner's part has ended.
    std::optional<BackgroundCheck> background_check;
    if (background) background_check.emplace(*this, dispatcher);
    auto mail = vek::MakeObject<MailMessageImpl>(vek::RefPtr<IMessage>::Share(message),
                                                 TakeSession(background), functions_, tracer,
                                                 dispatcher, environment_.clock);

    const CheckWorker worker(environment_.system,
                             {*scanner_, incoming, *mail, *done, *dispatcher, environment_.tracer});
    const OwnerPart owner_part(*dispatcher);
    dispatcher->Serve(*done);
    mail.reset();
    return worker.code();
}

void MessageProcessor::ProcessMessageFromCallback(mapi::IExchExtCallback* callback,
                                                  const ObservedCheck& check) {
    Observe(check, [&] { return CheckFromCallback(callback); });
}

vek::result_t MessageProcessor::CheckFromCallback(mapi::IExchExtCallback* callback) {
    trace::Write(environment_.tracer, trace::level::kDetail,
                 "Create IMessage from IExchExtCallback");
    vek::Check(callback != nullptr);
    vek::RefPtr<IMsgStore> store;
    vek::RefPtr<IMAPIProp> properties;
    helpers::CheckHResult(callback->GetObject(store.put(), properties.put()));
    if (!properties) vek::ThrowBadQueryInterface();

    vek::RefPtr<IMessage> message;
    const HRESULT result = properties->QueryInterface(mapi::iid::kMessage, message.put_void());
    if (FAILED(result) || !message) vek::ThrowBadQueryInterface();
    return Check(message.get(), kIncoming, kForeground);
}

void MessageProcessor::ProcessMessageByEntryId(std::u16string_view hex_entry_id,
                                               check_number_t number) {
    Observe({number, hex_entry_id}, [&] { return CheckByEntryId(hex_entry_id); });
}

vek::result_t MessageProcessor::CheckByEntryId(std::u16string_view hex_entry_id) {
    trace::Write(environment_.tracer, trace::level::kDetail, "Get IMessage from entry list");
    const vek::RefPtr<IMAPISession> session = TakeSession(true);
    vek::Check(static_cast<bool>(session));

    std::vector<std::byte> entry_id = mapi::EntryIdFromHex(hex_entry_id);
    ULONG object_type = 0;
    vek::RefPtr<IUnknown> object;
    helpers::CheckHResult(session->OpenEntry(
        static_cast<ULONG>(entry_id.size()), reinterpret_cast<ENTRYID*>(entry_id.data()),
        &mapi::iid::kMessage, MAPI_BEST_ACCESS, &object_type, object.put()));
    // Asked for by its interface id, the object is the message.
    return Check(static_cast<IMessage*>(object.get()), kIncoming, kBackground);
}

void MessageProcessor::LogonBackgroundSession() {
    if (session_) return;
    trace::Write(environment_.tracer, trace::level::kDetail, "Logon background session");
    background_session_ = Logon(nullptr, MAPI_EXTENDED | mapi::kBackgroundSession);
}

HRESULT MessageProcessor::LogoffBackgroundSession() {
    if (!background_session_) return S_OK;
    const HRESULT result = background_session_->Logoff(0, 0, 0);
    trace::Write(environment_.tracer, trace::level::kDetail, "Logoff background session. result: ",
                 trace::Hex(static_cast<std::int32_t>(result)));
    return result;
}

void MessageProcessor::CloseBackgroundChecks() noexcept {
    const std::lock_guard guard(background_lock_);
    background_closed_ = true;
    if (background_dispatcher_) background_dispatcher_->Close();
}

void MessageProcessor::BackgroundThreadIsGone() noexcept {
    const std::lock_guard guard(background_lock_);
    if (background_dispatcher_) background_dispatcher_->OwnerIsGone();
}

}  // namespace plugins::mail_processing
