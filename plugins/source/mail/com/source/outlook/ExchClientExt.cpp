#include "outlook/ExchClientExt.h"

#include <array>
#include <string_view>
#include <utility>

#include "com/border.h"
#include "internal/helpers/hresult_exception.h"
#include "vek/core/never_destroyed.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

constexpr std::string_view kInstall = "plugins::mail_processing::CExchClientExt::Install";

// The build that the extension is made for, in the high half as GetVersion gives it.
constexpr ULONG kBuildMajor = 0x000D0000;

// Where a client loads extensions (EECONTEXT_...), from 1.
constexpr std::array<std::string_view, 14> kContexts = {
    "EECONTEXT_SESSION",           "EECONTEXT_VIEWER",
    "EECONTEXT_REMOTEVIEWER",      "EECONTEXT_SEARCHVIEWER",
    "EECONTEXT_ADDRBOOK",          "EECONTEXT_SENDNOTEMESSAGE",
    "EECONTEXT_READNOTEMESSAGE",   "EECONTEXT_SENDPOSTMESSAGE",
    "EECONTEXT_READPOSTMESSAGE",   "EECONTEXT_READREPORTMESSAGE",
    "EECONTEXT_SENDRESENDMESSAGE", "EECONTEXT_PROPERTYSHEETS",
    "EECONTEXT_ADVANCEDCRITERIA",  "EECONTEXT_TASK"};
constexpr ULONG kSession = 1;
constexpr ULONG kSendNoteMessage = 6;
constexpr ULONG kPropertySheets = 12;

constexpr std::string_view ContextName(ULONG context) noexcept {
    return context >= 1 && context <= kContexts.size() ? kContexts[context - 1] : "UNKNOWN";
}

}  // namespace

CExchClientExt::CExchClientExt(trace::TracerPtr tracer) : tracer_(std::move(tracer)) {}

CExchClientExt::~CExchClientExt() {
    subscribers_->RemoveIf([this](const Subscriber& each) { return each.at == this; });
}

void* CExchClientExt::FindClientInterface(REFIID id) noexcept {
    if (id == mapi::iid::kExchExt) return static_cast<mapi::IExchExt*>(this);
    if (id == mapi::iid::kExchExtSessionEvents)
        return static_cast<mapi::IExchExtSessionEvents*>(this);
    if (id == mapi::iid::kExchExtMessageEvents)
        return static_cast<mapi::IExchExtMessageEvents*>(this);
    return nullptr;
}

std::shared_ptr<CExchClientExt::Subscribers> CExchClientExt::ProcessSubscribers() {
    // Goes with the last extension object and connection. Of Outlook's thread alone.
    static vek::NeverDestroyed<std::weak_ptr<Subscribers>> process;
    std::shared_ptr<Subscribers> subscribers = (*process).lock();
    if (!subscribers) *process = subscribers = std::make_shared<Subscribers>();
    return subscribers;
}

ExchangeEventSourcePtr CExchClientExt::EventsOf(vek::RefPtr<CExchClientExt> extension) {
    struct Source final : ExchangeEventSource {
        explicit Source(vek::RefPtr<CExchClientExt> e) noexcept : extension(std::move(e)) {}
        HRESULT Advise(ExchangeEvents& events, EventConnectionPtr& connection) noexcept override {
            return com::AtBorder([&] {
                connection = com::Listen(extension->subscribers_, {&events, extension.get()});
            });
        }
        const vek::RefPtr<CExchClientExt> extension;
    };
    return std::make_shared<Source>(std::move(extension));
}

HRESULT CExchClientExt::Install(mapi::IExchExtCallback* callback, ULONG context, ULONG) noexcept {
    return com::AtBorder([&] {
        try {
            return Decide(callback, context);
        } catch (...) {
            trace::WriteCurrentException(tracer_);
            throw;
        }
    });
}

HRESULT CExchClientExt::Decide(mapi::IExchExtCallback* callback, ULONG context) const {
    trace::Write(tracer_, trace::level::kDetail, kInstall, " context: ", ContextName(context));
    if (callback == nullptr) helpers::ThrowHResult(E_POINTER);
    ULONG version = 0;
    helpers::CheckHResult(callback->GetVersion(&version, mapi::exch_version::kBuild));
    if ((version & mapi::exch_version::kMajorMask) != kBuildMajor) {
        trace::Write(tracer_, trace::level::kDetail, kInstall,
                     " not installed. version: ", trace::Hex(version));
        return S_FALSE;
    }
    if (context == kSession || (context >= kSendNoteMessage && context <= kPropertySheets))
        return S_OK;
    trace::Write(tracer_, trace::level::kDetail, kInstall, " not installed. eecontext: ", context);
    return S_FALSE;
}

HRESULT CExchClientExt::Fire(Event event, mapi::IExchExtCallback* callback) noexcept {
    // Neither goes away before everyone has been told.
    const auto held = vek::RefPtr<mapi::IExchExtCallback>::Share(callback);
    const auto subscribers = subscribers_;
    subscribers->Fire([&](ExchangeEvents& subscriber) { (subscriber.*event)(callback); });
    return S_FALSE;
}

HRESULT CExchClientExt::OnDelivery(mapi::IExchExtCallback* callback) noexcept {
    return Fire(&ExchangeEvents::OnDelivery, callback);
}

HRESULT CExchClientExt::OnRead(mapi::IExchExtCallback* callback) noexcept {
    return Fire(&ExchangeEvents::OnRead, callback);
}

HRESULT CExchClientExt::OnReadComplete(mapi::IExchExtCallback*, ULONG) noexcept { return S_FALSE; }
HRESULT CExchClientExt::OnWrite(mapi::IExchExtCallback*) noexcept { return S_FALSE; }
HRESULT CExchClientExt::OnWriteComplete(mapi::IExchExtCallback*, ULONG) noexcept { return S_FALSE; }
HRESULT CExchClientExt::OnCheckNames(mapi::IExchExtCallback*) noexcept { return S_FALSE; }
HRESULT CExchClientExt::OnCheckNamesComplete(mapi::IExchExtCallback*, ULONG) noexcept {
    return S_FALSE;
}
HRESULT CExchClientExt::OnSubmit(mapi::IExchExtCallback*) noexcept { return S_FALSE; }

}  // namespace plugins::mail_processing
