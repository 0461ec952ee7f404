#include "options/property_page_win32.h"

#include <utility>

#include "com/dispatch_win32.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

constexpr com::DispatchMember kMembers[] = {{L"GetPageInfo", property_page::kGetPageInfo},
                                            {L"Dirty", property_page::kDirty},
                                            {L"Apply", property_page::kApply}};

// The place that an argument by reference refers to.
template <class Type>
Type* PlaceOf(const VARIANT& argument, VARTYPE type) {
    if (argument.vt != (VT_BYREF | type) || argument.byref == nullptr)
        helpers::ThrowHResult(DISP_E_TYPEMISMATCH);
    return static_cast<Type*>(argument.byref);
}

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
                            VARIANT* result, EXCEPINFO*, UINT*) noexcept {
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (parameters == nullptr) return E_POINTER;
    return com::AtBorder([&] { return Call(member, flags, *parameters, result); });
}

HRESULT OptionsPage::Call(DISPID member, WORD flags, const DISPPARAMS& parameters,
                          VARIANT* result) {
    const bool reads = member == property_page::kDirty;
    if ((flags & (reads ? DISPATCH_PROPERTYGET : DISPATCH_METHOD)) == 0)
        return DISP_E_MEMBERNOTFOUND;
    const com::EventArguments arguments(&parameters);
    switch (member) {
        case property_page::kGetPageInfo:
            arguments.Expect(2);  // in reverse order
            return GetPageInfo(PlaceOf<BSTR>(parameters.rgvarg[1], VT_BSTR),
                               PlaceOf<LONG>(parameters.rgvarg[0], VT_I4));
        case property_page::kDirty: {
            arguments.Expect(0);
            VARIANT_BOOL dirty = VARIANT_FALSE;
            const HRESULT read = get_Dirty(&dirty);
            if (result == nullptr) return read;
            ::VariantInit(result);
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
