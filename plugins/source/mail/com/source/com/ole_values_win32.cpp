#include "com/ole_values_win32.h"

#include "internal/helpers/hresult_exception.h"
#include "vek/platform/bstr_win32.h"

namespace plugins::com {
namespace {

// Visual Basic's errors are codes of FACILITY_CONTROL.
constexpr HRESULT FromErrorNumber(WORD number) noexcept {
    return MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, number);
}

}  // namespace

OwnedVariant::OwnedVariant(std::u16string_view text) : OwnedVariant() {
    value_.bstrVal = vek::platform::Bstr(text).detach();
    value_.vt = VT_BSTR;
}

OwnedVariant::OwnedVariant(std::int32_t number) noexcept : OwnedVariant() {
    value_.lVal = number;
    value_.vt = VT_I4;
}

OwnedVariant::OwnedVariant(IUnknown* object) noexcept : OwnedVariant() {
    value_.punkVal = vek::RefPtr<IUnknown>::Share(object).detach();
    value_.vt = VT_UNKNOWN;
}

OwnedVariant::OwnedVariant(OwnedVariant&& other) noexcept : value_(other.value_) {
    other.value_.vt = VT_EMPTY;
}

void OwnedVariant::Become(VARTYPE type) {
    if (value_.vt == type) return;
    helpers::CheckHResult(
        ::VariantChangeTypeEx(&value_, &value_, LOCALE_INVARIANT, VARIANT_NOVALUEPROP, type));
}

std::u16string OwnedVariant::Text() && {
    Become(VT_BSTR);
    const BSTR text = value_.bstrVal;  // null is the empty text
    return {text, text + ::SysStringLen(text)};
}

std::int16_t OwnedVariant::Flag() && {
    Become(VT_BOOL);
    return value_.boolVal;
}

std::int32_t OwnedVariant::Number() && {
    Become(VT_I4);
    return value_.lVal;
}

mail_processing::ole_date_t OwnedVariant::Date() && {
    Become(VT_DATE);
    return value_.date;
}

vek::RefPtr<IDispatch> OwnedVariant::Object() && {
    Become(VT_DISPATCH);
    return vek::RefPtr<IDispatch>::Adopt(std::exchange(value_.pdispVal, nullptr));
}

vek::RefPtr<IUnknown> OwnedVariant::Unknown() && {
    Become(VT_UNKNOWN);
    return vek::RefPtr<IUnknown>::Adopt(std::exchange(value_.punkVal, nullptr));
}

OwnedExceptionInfo::~OwnedExceptionInfo() {
    ::SysFreeString(info_.bstrSource);
    ::SysFreeString(info_.bstrDescription);
    ::SysFreeString(info_.bstrHelpFile);
}

HRESULT OwnedExceptionInfo::Code() noexcept {
    // Once only: a second fill-in would lose the texts of the first.
    if (const auto fill_in = std::exchange(info_.pfnDeferredFillIn, nullptr)) fill_in(&info_);
    if (FAILED(info_.scode)) return info_.scode;
    return info_.wCode != 0 ? FromErrorNumber(info_.wCode) : DISP_E_EXCEPTION;
}

}  // namespace plugins::com
