#include "module/addin_object.h"

#include "automation/automation_application.h"
#include "automation/exchange_extension.h"
#include "com/dispatch_win32.h"
#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_edk.h"
#include "module/item_event_object.h"
#include "module/module_life.h"
#include "vek/core/never_destroyed.h"
#include "vek/trace/line.h"

namespace plugins::dll {
namespace {

namespace automation = mail_processing::automation;

constexpr DISPID kOnConnection = 1;
constexpr DISPID kOnDisconnection = 2;
constexpr DISPID kOnAddInsUpdate = 3;
constexpr DISPID kOnStartupComplete = 4;
constexpr DISPID kOnBeginShutdown = 5;

constexpr com::DispatchMember kMembers[] = {{L"OnConnection", kOnConnection},
                                            {L"OnDisconnection", kOnDisconnection},
                                            {L"OnAddInsUpdate", kOnAddInsUpdate},
                                            {L"OnStartupComplete", kOnStartupComplete},
                                            {L"OnBeginShutdown", kOnBeginShutdown}};

automation::SystemCursor& TheCursor() {
    static vek::NeverDestroyed<automation::SystemCursor> cursor;
    return *cursor;
}

// The add-in's surroundings in Outlook: what this module runs, and the system.
mail_processing::AddinEnvironment Surroundings() {
    return {.load_mapi = [] { return mapi::LoadMapi(); },
            .create_extension = automation::CreateExchangeExtension,
            .cursor = TheCursor(),
            .advise_item = AdviseItemObject};
}

}  // namespace

AddinObject::AddinObject() : addin_(std::make_shared<mail_processing::CAddin>(Surroundings())) {}

void* AddinObject::Find(REFIID id) noexcept {
    if (id == kExtensibilityInterface || id == IID_IDispatch)
        return static_cast<IDTExtensibility2*>(this);
    return id == IID_IQZAntiVirusAddin ? static_cast<IQZAntiVirusAddin*>(this) : nullptr;
}

HRESULT AddinObject::OnConnection(IDispatch* application, int, IDispatch*, SAFEARRAY**) noexcept {
    const auto self = vek::RefPtr<AddinObject>::Share(this);
    StartCrashReporting();
    automation::AutomationObject object(application);
    const HRESULT result = addin_->OnConnection(object);
    EndCrashReportingUnlessConnected();
    return result;
}

HRESULT AddinObject::OnDisconnection(int, SAFEARRAY**) noexcept {
    const auto self = vek::RefPtr<AddinObject>::Share(this);
    addin_->OnDisconnection();
    EndCrashReportingUnlessConnected();
    return S_OK;
}

void AddinObject::StartCrashReporting() noexcept {
    try {
        if (!crash_reporting_) crash_reporting_.emplace(TraceFolder());
    } catch (...) {  // the add-in works as well without
        vek::trace::WriteCurrentException(vek::trace::ProcessTracer(), "Crash reporting: ");
    }
}

// A connection that was made from within another's making or end stands behind that.
void AddinObject::EndCrashReportingUnlessConnected() noexcept {
    if (addin_->settings() == nullptr) crash_reporting_.reset();
}

HRESULT AddinObject::GetTypeInfoCount(UINT* count) noexcept {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT AddinObject::GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    return DISP_E_BADINDEX;
}

HRESULT AddinObject::GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID,
                                   DISPID* ids) noexcept {
    return com::FindMembers(kMembers, id, names, count, ids);
}

HRESULT AddinObject::Invoke(DISPID member, REFIID id, LCID, WORD kind, DISPPARAMS* parameters,
                            VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) noexcept {
    const auto run = [this](DISPID called, const com::EventArguments& arguments) -> HRESULT {
        switch (called) {
            case kOnConnection: {
                arguments.Expect(4);
                arguments.ExpectArray(3);
                arguments.ExpectObject(2);
                const int mode = arguments.Number(1);
                return OnConnection(arguments.Object(0).get(), mode, nullptr, nullptr);
            }
            case kOnDisconnection:
                arguments.Expect(2);
                arguments.ExpectArray(1);
                return OnDisconnection(arguments.Number(0), nullptr);
            case kOnAddInsUpdate:
            case kOnStartupComplete:
            case kOnBeginShutdown:
                arguments.Expect(1);
                arguments.ExpectArray(0);
                return S_OK;
            default:
                helpers::ThrowHResult(DISP_E_MEMBERNOTFOUND);
        }
    };
    return com::InvokeMethod({member, id, kind, parameters, result, exception, wrong_argument},
                             run);
}

}  // namespace plugins::dll
