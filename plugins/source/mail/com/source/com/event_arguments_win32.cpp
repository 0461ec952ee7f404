#include "com/event_arguments_win32.h"

#include "internal/helpers/hresult_exception.h"

namespace plugins::com {
namespace {

bool IsReference(const VARIANT& argument) { return (argument.vt & VT_BYREF) != 0; }

// By value or by reference.
bool IsOf(const VARIANT& argument, VARTYPE type) { return (argument.vt & ~VT_BYREF) == type; }

}  // namespace

void EventArguments::Require(std::size_t index, bool fits, HRESULT code) const {
    if (fits) return;
    if (wrong_ != nullptr) *wrong_ = static_cast<UINT>(parameters_->cArgs - 1 - index);
    helpers::ThrowHResult(code);
}

void EventArguments::Expect(std::size_t count) const {
    const std::size_t given = parameters_ == nullptr ? 0 : parameters_->cArgs;
    if (given != count || (given != 0 && parameters_->rgvarg == nullptr))
        helpers::ThrowHResult(DISP_E_BADPARAMCOUNT);
    if (given != 0 && parameters_->cNamedArgs != 0) helpers::ThrowHResult(DISP_E_NONAMEDARGS);
}

const VARIANT& EventArguments::At(std::size_t index) const {
    const VARIANT* argument = &parameters_->rgvarg[parameters_->cArgs - 1 - index];
    if (argument->vt == (VT_BYREF | VT_VARIANT)) argument = argument->pvarVal;
    Require(index, argument != nullptr && !(IsReference(*argument) && argument->byref == nullptr));
    const bool is_left_out =
        IsOf(*argument, VT_ERROR) &&
        (IsReference(*argument) ? *argument->pscode : argument->scode) == DISP_E_PARAMNOTFOUND;
    Require(index, !is_left_out, DISP_E_PARAMNOTFOUND);
    return *argument;
}

vek::RefPtr<IDispatch> EventArguments::Object(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(index, IsOf(argument, VT_DISPATCH));
    IDispatch* const object = IsReference(argument) ? *argument.ppdispVal : argument.pdispVal;
    Require(index, object != nullptr);
    return vek::RefPtr<IDispatch>::Share(object);
}

vek::RefPtr<IUnknown> EventArguments::Unknown(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(index, IsOf(argument, VT_UNKNOWN));
    IUnknown* const object = IsReference(argument) ? *argument.ppunkVal : argument.punkVal;
    Require(index, object != nullptr);
    return vek::RefPtr<IUnknown>::Share(object);
}

std::optional<std::u16string> EventArguments::Text(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(index, IsOf(argument, VT_BSTR));
    const BSTR text = IsReference(argument) ? *argument.pbstrVal : argument.bstrVal;
    if (text == nullptr) return std::nullopt;
    return std::u16string(text, text + ::SysStringLen(text));
}

std::int32_t EventArguments::Number(std::size_t index) const {
    OwnedVariant number;
    const HRESULT copied = ::VariantCopyInd(number.address(), const_cast<VARIANT*>(&At(index)));
    Require(index, SUCCEEDED(copied), copied);
    const VARTYPE type = number.get().vt;
    Require(index, type != VT_EMPTY && type != VT_NULL && type != VT_BSTR && type != VT_DISPATCH);
    const HRESULT changed = ::VariantChangeType(number.address(), number.address(), 0, VT_I4);
    Require(index, SUCCEEDED(changed), changed);
    return number.get().lVal;
}

void EventArguments::ExpectObject(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(index, IsOf(argument, VT_DISPATCH) || IsOf(argument, VT_UNKNOWN));
}

void EventArguments::ExpectArray(std::size_t index) const {
    Require(index, IsOf(At(index), VT_ARRAY | VT_VARIANT));
}

const VARIANT& EventArguments::ReferenceAt(std::size_t index, VARTYPE type) const {
    const VARIANT& argument = At(index);
    Require(index, argument.vt == (VT_BYREF | type));
    return argument;
}

VARIANT_BOOL& EventArguments::FlagByReference(std::size_t index) const {
    return *ReferenceAt(index, VT_BOOL).pboolVal;
}

BSTR& EventArguments::TextByReference(std::size_t index) const {
    return *ReferenceAt(index, VT_BSTR).pbstrVal;
}

LONG& EventArguments::NumberByReference(std::size_t index) const {
    return *ReferenceAt(index, VT_I4).plVal;
}

}  // namespace plugins::com
