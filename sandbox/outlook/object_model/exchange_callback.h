#pragma once

#include <memory>
#include <string>

#include "com/com_object.h"
#include "mapi/exchange_extension.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "sandbox/outlook/object_model/subscriptions.h"

namespace sandbox::outlook {

// The callback that the client hands to its extensions with an event of one message. What the
// add-in never asks is answered with E_NOTIMPL. Construct with vek::MakeObject; Outlook's thread.
class ExchangeCallback final
    : public plugins::com::ComObject<plugins::com::ComInterface<
          plugins::mapi::IExchExtCallback, plugins::mapi::iid::kExchExtCallback>> {
public:
    ExchangeCallback(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi, std::string entry_id);

    HRESULT STDMETHODCALLTYPE GetVersion(ULONG* version, ULONG flags) override;
    HRESULT STDMETHODCALLTYPE GetSession(IMAPISession** session, IAddrBook** address_book) override;
    HRESULT STDMETHODCALLTYPE GetObject(IMsgStore** store, IMAPIProp** object) override;
    HRESULT STDMETHODCALLTYPE GetSelectionCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetSelectionItem(ULONG index, ULONG* entry_id_size,
                                               ENTRYID** entry_id, ULONG* type,
                                               LPTSTR message_class, ULONG message_class_size,
                                               ULONG* flags, ULONG options) override;

    HRESULT STDMETHODCALLTYPE GetWindow(HWND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMenu(HMENU*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetToolbar(ULONG, HWND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMenuPos(ULONG, HMENU*, ULONG*, ULONG*, ULONG) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSharedExtsDir(LPTSTR, ULONG, ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRecipients(ADRLIST**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetRecipients(ADRLIST*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNewMessageSite() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RegisterModeless() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ChooseFolder() override { return E_NOTIMPL; }

private:
    const std::shared_ptr<ObjectModel> model_;
    MapiSubsystem& mapi_;
    const std::string entry_id_;
    const LiveCount live_;
};

}  // namespace sandbox::outlook
