#include "com/event_arguments_win32.h"

#include "internal/helpers/hresult_exception.h"

namespace plugins::com {
namespace {

void Require(bool fits) {
    if (!fits) helpers::ThrowHResult(DISP_E_TYPEMISMATCH);
}

bool IsReference(const VARIANT& argument) { return (argument.vt & VT_BYREF) != 0; }

// By value or by reference.
bool IsOf(const VARIANT& argument, VARTYPE type) { return (argument.vt & ~VT_BYREF) == type; }

}  // namespace

void EventArguments::Expect(std::size_t count) const {
    const std::size_t given = parameters_ == nullptr ? 0 : parameters_->cArgs;
    if (given != count || (given != 0 && parameters_->rgvarg == nullptr))
        helpers::ThrowHResult(DISP_E_BADPARAMCOUNT);
    if (given != 0 && parameters_->cNamedArgs != 0) helpers::ThrowHResult(DISP_E_NONAMEDARGS);
}

const VARIANT& EventArguments::At(std::size_t index) const {
    const VARIANT* argument = &parameters_->rgvarg[parameters_->cArgs - 1 - index];
    if (argument->vt == (VT_BYREF | VT_VARIANT)) argument = argument->pvarVal;
    Require(argument != nullptr && !(IsReference(*argument) && argument->byref == nullptr));
    return *argument;
}

vek::RefPtr<IDispatch> EventArguments::Object(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(IsOf(argument, VT_DISPATCH));
    IDispatch* const object = IsReference(argument) ? *argument.ppdispVal : argument.pdispVal;
    Require(object != nullptr);
    return vek::RefPtr<IDispatch>::Share(object);
}

vek::RefPtr<IUnknown> EventArguments::Unknown(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(IsOf(argument, VT_UNKNOWN));
    IUnknown* const object = IsReference(argument) ? *argument.ppunkVal : argument.punkVal;
    Require(object != nullptr);
    return vek::RefPtr<IUnknown>::Share(object);
}

std::optional<std::u16string> EventArguments::Text(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(IsOf(argument, VT_BSTR));
    const BSTR text = IsReference(argument) ? *argument.pbstrVal : argument.bstrVal;
    if (text == nullptr) return std::nullopt;
    return std::u16string(text, text + ::SysStringLen(text));
}

VARIANT_BOOL& EventArguments::FlagByReference(std::size_t index) const {
    const VARIANT& argument = At(index);
    Require(argument.vt == (VT_BYREF | VT_BOOL));
    return *argument.pboolVal;
}

}  // namespace plugins::com
