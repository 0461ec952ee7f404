#pragma once

#include "com/border.h"
#include "com/com_object.h"
#include "com/control_win32.h"
#include "com/dispatch_win32.h"
#include "com/ole_values_win32.h"
#include "internal/helpers/hresult_exception.h"
#include "options/pages_win32.h"

namespace plugins::mail_processing {

// What both pages are: a control, and Outlook's PropertyPage. The one dispatch interface stands for
// the page's own, too.
class OptionsPage : public com::CountedObject<com::Control, PropertyPage> {
public:
    // IDispatch
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) noexcept override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID id, LCID, WORD flags,
                                     DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
                                     UINT* wrong_argument) noexcept override;

    // PropertyPage: there is no help.
    HRESULT STDMETHODCALLTYPE GetPageInfo(BSTR* help_file, LONG* help_context) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Dirty(VARIANT_BOOL* dirty) noexcept override;
    HRESULT STDMETHODCALLTYPE Apply() noexcept override { return S_OK; }

protected:
    // `interface_id`: the page's own.
    OptionsPage(const com::ControlClass& of, REFIID interface_id, vek::trace::TracerPtr tracer);

    // Outlook's site; null when the page stands anywhere else.
    vek::RefPtr<IDispatch> PageSite() const noexcept;
    // Says that there is something to apply, and tells the site of it. It stays so.
    void MakeDirty() noexcept;

private:
    void* Find(REFIID id) noexcept final;
    HRESULT Call(DISPID member, WORD flags, const com::EventArguments& arguments, VARIANT* result);

    const IID interface_id_;
    com::OwnedVariant dirty_;
};

// Gives a page just made through its interface `id`.
template <class Page>
HRESULT GivePage(const PageEnvironment& environment, HINSTANCE module, REFIID id,
                 void** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return com::AtBorder([&] {
        const auto page = vek::MakeObject<Page>(environment, module);
        return page->QueryInterface(id, out);
    });
}

}  // namespace plugins::mail_processing
