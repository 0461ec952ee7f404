#include "options/property_page_win32.h"

#include <utility>

#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

constexpr com::DispatchMember kMembers[] = {{L"GetPageInfo", property_page::kGetPageInfo},
                                            {L"Dirty", property_page::kDirty},
                                            {L"Apply", property_page::kApply}};

}  // namespace

OptionsPage::OptionsPage(const com::ControlClass& of, REFIID interface_id,
                         vek::trace::TracerPtr tracer)
    : CountedObject(of, std::move(tracer)), interface_id_(interface_id) {}

void* OptionsPage::Find(REFIID id) noexcept {
    if (id == IID_IDispatch || id == kPropertyPage || id == interface_id_)
        return static_cast<PropertyPage*>(this);
    return FindControl(id);
}

HRESULT OptionsPage::GetTypeInfoCount(UINT* count) noexcept {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
}

HRESULT OptionsPage::GetTypeInfo(UINT index, LCID, ITypeInfo** out) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return index == 0 ? GetTypeInfoOf(interface_id_, out) : DISP_E_BADINDEX;
}

HRESULT OptionsPage::GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID,
                                   DISPID* ids) noexcept {
    return com::FindMembers(kMembers, id, names, count, ids);
}

HRESULT OptionsPage::Invoke(DISPID member, REFIID id, LCID, WORD flags, DISPPARAMS* parameters,
                            VARIANT* result, EXCEPINFO*, UINT* wrong_argument) noexcept {
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (parameters == nullptr) return E_INVALIDARG;
    if (result != nullptr) ::VariantInit(result);
    return com::AtBorder([&] {
        return Call(member, flags, com::EventArguments(parameters, wrong_argument), result);
    });
}

HRESULT OptionsPage::Call(DISPID member, WORD flags, const com::EventArguments& arguments,
                          VARIANT* result) {
    const bool reads = member == property_page::kDirty;
    if ((flags & (reads ? DISPATCH_PROPERTYGET : DISPATCH_METHOD)) == 0)
        return DISP_E_MEMBERNOTFOUND;
    switch (member) {
        case property_page::kGetPageInfo: {
            arguments.Expect(2);
            BSTR& help_file = arguments.TextByReference(0);
            return GetPageInfo(&help_file, &arguments.NumberByReference(1));
        }
        case property_page::kDirty: {
            arguments.Expect(0);
            VARIANT_BOOL dirty = VARIANT_FALSE;
            const HRESULT read = get_Dirty(&dirty);
            if (result == nullptr) return read;
            result->vt = VT_BOOL;
            result->boolVal = dirty;
            return read;
        }
        case property_page::kApply:
            arguments.Expect(0);
            return Apply();
        default:
            return DISP_E_MEMBERNOTFOUND;
    }
}

HRESULT OptionsPage::GetPageInfo(BSTR* help_file, LONG* help_context) noexcept {
    if (help_file == nullptr || help_context == nullptr) return E_POINTER;
    *help_file = nullptr;
    *help_context = 0;
    return S_OK;
}

HRESULT OptionsPage::get_Dirty(VARIANT_BOOL* dirty) noexcept {
    if (dirty == nullptr) return E_POINTER;
    const VARIANT& value = dirty_.get();
    *dirty = value.vt == VT_BOOL ? value.boolVal : VARIANT_FALSE;
    return S_OK;
}

vek::RefPtr<IDispatch> OptionsPage::PageSite() const noexcept {
    vek::RefPtr<IDispatch> found;
    if (site() != nullptr) site()->QueryInterface(kPropertyPageSite, found.put_void());
    return found;
}

void OptionsPage::MakeDirty() noexcept {
    VARIANT& value = *dirty_.address();
    ::VariantClear(&value);
    value.vt = VT_BOOL;
    value.boolVal = VARIANT_TRUE;

    const auto host = PageSite();
    if (!host) return;
    DISPPARAMS none{};
    // Never by its slot: other members stand before it, and not the same in every version.
    const HRESULT told =
        host->Invoke(property_page_site::kOnStatusChange, IID_NULL, LOCALE_USER_DEFAULT,
                     DISPATCH_METHOD, &none, nullptr, nullptr, nullptr);
    if (FAILED(told))
        vek::trace::WriteFailedStatement(tracer(), "OnStatusChange",
                                         static_cast<vek::result_t>(told));
}

}  // namespace plugins::mail_processing
