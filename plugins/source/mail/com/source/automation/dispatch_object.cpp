#include "automation/dispatch_object.h"

#include <iterator>
#include <vector>

#include "internal/helpers/hresult_exception.h"

namespace plugins::mail_processing::automation {

DISPID Member::IdOn(IDispatch& object) {
    DISPID id = id_.load(std::memory_order_relaxed);
    if (id == DISPID_UNKNOWN) {
        auto* name = const_cast<wchar_t*>(name_);
        helpers::CheckHResult(object.GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id));
        id_.store(id, std::memory_order_relaxed);
    }
    return id;
}

com::OwnedVariant DispatchObject::Get(Member& property) const {
    return Invoke(property, DISPATCH_PROPERTYGET, {});
}

com::OwnedVariant DispatchObject::Call(Member& method,
                                       std::initializer_list<com::OwnedVariant> arguments) const {
    return Invoke(method, DISPATCH_METHOD, arguments);
}

DispatchObject DispatchObject::ObjectOf(Member& property) const {
    return DispatchObject(Get(property).Object());
}

DispatchObject DispatchObject::ObjectFrom(
    Member& method, std::initializer_list<com::OwnedVariant> arguments) const {
    return DispatchObject(Call(method, arguments).Object());
}

com::OwnedVariant DispatchObject::Invoke(Member& member, WORD kind,
                                         std::initializer_list<com::OwnedVariant> arguments) const {
    if (!object_) helpers::ThrowHResult(E_POINTER);
    const DISPID id = member.IdOn(*object_);

    // The last argument comes first. They stay the caller's.
    std::vector<VARIANT> reversed;
    reversed.reserve(arguments.size());
    for (auto argument = std::rbegin(arguments); argument != std::rend(arguments); ++argument)
        reversed.push_back(argument->get());
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};

    com::OwnedVariant result;
    com::OwnedExceptionInfo exception;
    const HRESULT hr = object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, kind, &parameters,
                                       result.address(), exception.address(), nullptr);
    helpers::CheckHResult(hr == DISP_E_EXCEPTION ? exception.Code() : hr);
    return result;
}

}  // namespace plugins::mail_processing::automation
