// How the add-in gets connected to Outlook, and off again.

#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "outlook/Addin.h"
#include "outlook/event_handler.h"
#include "outlook/version.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

namespace trace = vek::trace;

HRESULT CAddin::OnConnection(ApplicationObject& object) noexcept {
    const trace::Scope scope(environment_.tracer, "OnConnection");
    Disconnect();
    quitting_ = false;
    const std::uint64_t connection = connection_;
    HRESULT result = E_FAIL;
    try {
        Connect(object, connection);
        return S_OK;
    } catch (const vek::BadQueryInterfaceException&) {
        trace::WriteCurrentException(environment_.tracer);
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
        result = static_cast<HRESULT>(vek::CurrentExceptionResult());
    }
    // Not a connection that was made from within.
    if (connection_ == connection) Disconnect();
    return result;
}

void CAddin::OnDisconnection() noexcept {
    const trace::Scope scope(environment_.tracer, "OnDisconnection");
    Disconnect();
}

void CAddin::Connect(ApplicationObject& object, std::uint64_t connection) {
    auto settings = std::make_shared<ProductSettingsProvider>(
        environment_.services, environment_.clock, environment_.tracer);
    ApplicationPtr application;
    if (FAILED(object.GetApplication(application)) || !application) vek::ThrowBadQueryInterface();
    CheckStill(connection);
    settings_ = std::move(settings);
    application_ = application;

    ReadVersion(*application, connection);
    AdviseEvents(*application, connection);
    std::vector<ItemPtr> open_items;
    TraceFailure("Open items cannot be had, hr=", application->GetOpenItems(open_items));
    CheckStill(connection);
    AdviseExtension(connection);
    AdviseInbox(*application, connection);
    // What is behind this point is not needed for being connected.
    try {
        BuildProcessors(*application, connection);
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
    }
    CheckStill(connection);
    CheckOpenItems(open_items, connection);
    StartBackground();
}

void CAddin::CheckStill(std::uint64_t connection) const {
    if (connection_ != connection) helpers::ThrowHResult(E_ABORT);
}

void CAddin::ReadVersion(Application& application, std::uint64_t connection) {
    std::u16string name;
    std::u16string version;
    TraceFailure("The application's name cannot be had, hr=", application.GetName(name));
    TraceFailure("The application's version cannot be had, hr=", application.GetVersion(version));
    Trace("Application: ", name, ", version: ", version);
    CheckStill(connection);
    major_version_ = MajorVersion(version);
}

void CAddin::AdviseEvents(Application& application, std::uint64_t connection) {
    EventConnectionPtr events;
    helpers::CheckGiven(application.AdviseEvents(*this, events), events);
    CheckStill(connection);
    application_events_ = std::move(events);
    if (major_version_ < major_version::kOutlook2007) return;

    helpers::CheckGiven(application.AdviseNewerEvents(*this, events), events);
    CheckStill(connection);
    newer_application_events_ = std::move(events);
    Trace("Use OOM 12 or more");
}

void CAddin::AdviseExtension(std::uint64_t connection) {
    ExchangeEventSourcePtr extension;
    helpers::CheckGiven(environment_.create_extension(extension), extension);
    CheckStill(connection);
    EventConnectionPtr events;
    helpers::CheckGiven(extension->Advise(*this, events), events);
    CheckStill(connection);
    extension_ = std::move(extension);
    exchange_events_ = std::move(events);
}

// The inbox can be out of reach, as a server's is; mail is followed by the other events then.
void CAddin::AdviseInbox(Application& application, std::uint64_t connection) {
    EventConnectionPtr events;
    TraceFailure("The inbox cannot be followed, hr=", application.AdviseInbox(*this, events));
    CheckStill(connection);
    inbox_events_ = std::move(events);
}

void CAddin::BuildProcessors(Application& application, std::uint64_t connection) {
    const auto settings = settings_;
    const auto functions = environment_.load_mapi();
    vek::Check(functions != nullptr);
    CheckStill(connection);
    functions_ = functions;
    // Without Outlook's session the processor logs on itself.
    vek::RefPtr<IMAPISession> session;
    TraceFailure("Outlook's MAPI session cannot be had, hr=", application.GetMapiSession(session));
    CheckStill(connection);
    const std::shared_ptr<MessageProcessor> processor =
        MessageProcessor::Create(settings, functions, session.get(),
                                 {environment_.system, environment_.clock, environment_.services,
                                  environment_.tracer, environment_.observer});
    CheckStill(connection);
    processor_ = processor;
    auto async = std::make_shared<AsyncProcessor>(
        AsyncEnvironment{functions, settings, processor, environment_.system, environment_.tracer,
                         environment_.stop_timeout, environment_.registry, environment_.observer});
    CheckStill(connection);
    async_ = std::move(async);
}

void CAddin::CheckOpenItems(const std::vector<ItemPtr>& items, std::uint64_t connection) {
    Trace("CAddin::checking opened mail items on connect");
    for (const ItemPtr& item : items) {
        try {
            ItemReadImpl(item);
        } catch (...) {
            trace::Write(environment_.tracer, trace::level::kError, "Mail checking failed");
            trace::WriteCurrentException(environment_.tracer);
        }
        CheckStill(connection);
    }
}

void CAddin::StartBackground() noexcept {
    if (quitting_) return;
    try {
        if (const auto async = async_) async->Start();
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
        // Nobody would ever work its queue off.
        async_.reset();
    }
}

void CAddin::Disconnect() noexcept {
    ++connection_;
    for (EventConnectionPtr* const events :
         {&application_events_, &newer_application_events_, &exchange_events_, &inbox_events_}) {
        const EventConnectionPtr connection = std::move(*events);
        const HRESULT result = connection ? connection->Unadvise() : S_OK;
        if (FAILED(result))
            trace::Write(environment_.tracer, trace::level::kWarning,
                         "Unadvise failed, hr=", trace::Hex(result));
    }
    items_.Clear();
    extension_.reset();
    {
        const auto async = std::exchange(async_, nullptr);
        try {
            if (async) async->Stop();
        } catch (...) {
            trace::WriteCurrentException(environment_.tracer);
        }
        // With its session, before the async processor gives MAPI back.
        processor_.reset();
    }
    settings_.reset();
    functions_.reset();
    application_.reset();
    major_version_ = 0;
}

}  // namespace plugins::mail_processing
