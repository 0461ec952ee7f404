#pragma once

#include <memory>
#include <optional>

#include "com/class_factory_win32.h"
#include "com/com_object.h"
#include "module/crash_reporting.h"
#include "outlook/Addin.h"

// The order matters: it needs windows.h.
#include <oaidl.h>

#include "outlook_addin.h"

namespace plugins::dll {

// What Office calls an add-in by ({B65AD801-ABAF-11D0-BB8B-00A0C90F2744}); its members have the
// numbers 1 to 5, in this order.
struct IDTExtensibility2 : IDispatch {
    // `custom` refers to an array of values. Modes are those of ext_ConnectMode and
    // ext_DisconnectMode.
    virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, int mode,
                                                   IDispatch* instance, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnDisconnection(int mode, SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
    virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};
inline constexpr IID kExtensibilityInterface = {
    0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};

// The add-in as Outlook creates it. Its callers may bind early or late. On Outlook's thread.
class AddinObject final : public com::CountedObject<IDTExtensibility2, IQZAntiVirusAddin> {
public:
    AddinObject();

    // E_FAIL when `application` is not Outlook's, or what CAddin gives.
    HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application, int mode, IDispatch* instance,
                                           SAFEARRAY** custom) noexcept override;
    HRESULT STDMETHODCALLTYPE OnDisconnection(int mode, SAFEARRAY** custom) noexcept override;
    // Nothing to do.
    HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY**) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY**) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY**) noexcept override { return S_OK; }

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale,
                                          ITypeInfo** info) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* ids) noexcept override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID id, LCID locale, WORD kind,
                                     DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                     UINT* wrong_argument) noexcept override;

private:
    void StartCrashReporting() noexcept;
    void EndCrashReportingUnlessConnected() noexcept;
    void* Find(REFIID id) noexcept override;

    const com::InstanceMark instance_;
    // Held by whoever handles an event, too: it may end behind this object.
    const std::shared_ptr<mail_processing::CAddin> addin_;
    std::optional<CrashReporting> crash_reporting_;  // while connected
};

}  // namespace plugins::dll
