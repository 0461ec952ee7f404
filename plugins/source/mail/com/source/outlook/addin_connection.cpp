// How the add-in gets connected to Outlook, and off again.

#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "outlook/addin.h"
#include "outlook/event_handler.h"
#include "outlook/version.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {

namespace trace = vek::trace;

HRESULT CAddin::OnConnection(ApplicationObject& object) noexcept {
    const trace::Scope scope(environment_.tracer, "OnConnection");
    Disconnect();
    try {
        Connect(object);
        return S_OK;
    } catch (const vek::BadQueryInterfaceException&) {
        trace::WriteCurrentException(environment_.tracer);
        Disconnect();
        return E_FAIL;
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
        const auto result = static_cast<HRESULT>(vek::CurrentExceptionResult());
        Disconnect();
        return result;
    }
}

void CAddin::OnDisconnection() noexcept {
    const trace::Scope scope(environment_.tracer, "OnDisconnection");
    Disconnect();
}

void CAddin::Connect(ApplicationObject& object) {
    settings_ = std::make_shared<ProductSettingsProvider>(environment_.services, environment_.clock,
                                                          environment_.tracer);
    ApplicationPtr application;
    if (FAILED(object.GetApplication(application)) || !application) vek::ThrowBadQueryInterface();
    application_ = application;

    ReadVersion(*application);
    AdviseEvents(*application);
    std::vector<ItemPtr> open_items;
    TraceFailure("Open items cannot be had, hr=", application->GetOpenItems(open_items));
    AdviseExtension();
    AdviseInbox(*application);
    // What is behind this point is not needed for being connected.
    try {
        BuildProcessors(*application);
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
    }
    CheckOpenItems(open_items);
    StartBackground();
}

void CAddin::ReadVersion(Application& application) {
    std::u16string name;
    std::u16string version;
    TraceFailure("The application's name cannot be had, hr=", application.GetName(name));
    TraceFailure("The application's version cannot be had, hr=", application.GetVersion(version));
    Trace("Application: ", name, ", version: ", version);
    major_version_ = MajorVersion(version);
}

void CAddin::AdviseEvents(Application& application) {
    helpers::CheckGiven(application.AdviseEvents(*this, application_events_), application_events_);
    if (major_version_ < major_version::kOutlook2007) return;
    helpers::CheckGiven(application.AdviseNewerEvents(*this, newer_application_events_),
                        newer_application_events_);
    Trace("Use OOM 12 or more");
}

void CAddin::AdviseExtension() {
    helpers::CheckGiven(environment_.create_extension(extension_), extension_);
    helpers::CheckGiven(extension_->Advise(*this, exchange_events_), exchange_events_);
}

// The inbox can be out of reach, as a server's is; mail is followed by the other events then.
void CAddin::AdviseInbox(Application& application) noexcept {
    TraceFailure("The inbox cannot be followed, hr=",
                 application.AdviseInbox(*this, inbox_events_));
}

void CAddin::BuildProcessors(Application& application) {
    functions_ = environment_.load_mapi();
    vek::Check(functions_ != nullptr);
    // Without Outlook's session the processor logs on itself.
    vek::RefPtr<IMAPISession> session;
    TraceFailure("Outlook's MAPI session cannot be had, hr=", application.GetMapiSession(session));
    processor_ = MessageProcessor::Create(
        settings_, functions_, session.get(),
        {environment_.system, environment_.clock, environment_.services, environment_.tracer});
    async_ = std::make_shared<AsyncProcessor>(
        AsyncEnvironment{functions_, settings_, processor_, environment_.system,
                         environment_.tracer, environment_.stop_timeout, environment_.registry});
}

void CAddin::CheckOpenItems(const std::vector<ItemPtr>& items) noexcept {
    Trace("CAddin::checking opened mail items on connect");
    for (const ItemPtr& item : items) {
        try {
            ItemReadImpl(item);
        } catch (...) {
            trace::WriteCurrentException(environment_.tracer, "Mail checking failed: ");
        }
    }
}

void CAddin::StartBackground() noexcept {
    try {
        if (const auto async = async_) async->Start();
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
        // Nobody would ever work its queue off.
        async_.reset();
    }
}

void CAddin::Disconnect() noexcept {
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
