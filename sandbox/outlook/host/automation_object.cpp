#include "sandbox/outlook/host/automation_object.h"

#include <oleauto.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <stdexcept>
#include <utility>

#include "com/border.h"

namespace sandbox::host {

VARIANT& Arguments::At(UINT index) const {
    VARIANT* value = &parameters_.rgvarg[parameters_.cArgs - 1 - index];
    if (value->vt == (VT_BYREF | VT_VARIANT)) value = value->pvarVal;
    return *value;
}

std::int32_t Arguments::Number(UINT index) const {
    VARIANT number;
    ::VariantInit(&number);
    if (FAILED(::VariantChangeType(&number, &At(index), 0, VT_I4)))
        throw std::invalid_argument("a number is expected");
    return number.lVal;
}

std::u16string Arguments::Text(UINT index) const {
    VARIANT text;
    ::VariantInit(&text);
    if (FAILED(::VariantChangeType(&text, &At(index), 0, VT_BSTR)))
        throw std::invalid_argument("a text is expected");
    std::u16string copy(text.bstrVal, text.bstrVal + ::SysStringLen(text.bstrVal));
    ::VariantClear(&text);
    return copy;
}

vek::RefPtr<IDispatch> Sink::Of(IUnknown* object, const IID& events) {
    vek::RefPtr<IDispatch> sink;
    if (FAILED(object->QueryInterface(events, sink.put_void())))
        object->QueryInterface(IID_IDispatch, sink.put_void());
    return sink;
}

void Sink::Raise(DISPID event, std::span<VARIANT> arguments) const {
    const auto held = object_;
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    VARIANT result;
    ::VariantInit(&result);
    EXCEPINFO exception{};
    UINT argument = 0;
    held->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, &result,
                 &exception, &argument);
    ::VariantClear(&result);
    ::SysFreeString(exception.bstrSource);
    ::SysFreeString(exception.bstrDescription);
    ::SysFreeString(exception.bstrHelpFile);
}

// One outgoing interface of an object. It has an identity of its own and holds the object.
class AutomationObject::ConnectionPoint final
    : public plugins::com::ReferenceCounted<IConnectionPoint> {
public:
    ConnectionPoint(vek::RefPtr<AutomationObject> object, const IID& events)
        : object_(std::move(object)), events_(events) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        if (id != IID_IUnknown && id != IID_IConnectionPoint) return E_NOINTERFACE;
        *out = static_cast<IConnectionPoint*>(this);
        AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* id) override {
        if (id == nullptr) return E_POINTER;
        *id = events_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE
    GetConnectionPointContainer(IConnectionPointContainer** container) override {
        if (container == nullptr) return E_POINTER;
        *container = vek::RefPtr<IConnectionPointContainer>(object_).detach();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* object, DWORD* cookie) override {
        if (object_->IsForeign()) return RPC_E_WRONG_THREAD;
        if (object == nullptr || cookie == nullptr) return E_POINTER;
        *cookie = 0;
        return plugins::com::AtBorder([&]() -> HRESULT {
            auto sink = Sink::Of(object, events_);
            if (!sink) return CONNECT_E_CANNOTCONNECT;
            std::unique_ptr<Subscription> subscription;
            const HRESULT code = object_->Subscribe(events_, Sink(std::move(sink)), subscription);
            if (FAILED(code)) return code;
            *cookie = ++object_->last_cookie_;
            object_->subscriptions_.emplace(*cookie, std::move(subscription));
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
        if (object_->IsForeign()) return RPC_E_WRONG_THREAD;
        // Out of the map before it ends, which may call back.
        const auto ending = object_->subscriptions_.extract(cookie);
        return ending.empty() ? CONNECT_E_NOCONNECTION : ending.mapped()->End();
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** out) override {
        if (out != nullptr) *out = nullptr;
        return E_NOTIMPL;
    }

private:
    const vek::RefPtr<AutomationObject> object_;
    const IID events_;
};

AutomationObject::AutomationObject(std::span<const Member> members, const IID& dual,
                                   std::vector<IID> outgoing)
    : members_(members),
      dual_(dual),
      outgoing_(std::move(outgoing)),
      thread_(::GetCurrentThreadId()) {}

AutomationObject::~AutomationObject() {
    if (!IsForeign()) return;
    std::fputs("an object of Outlook's is released on another thread\n", stderr);
    std::abort();
}

bool AutomationObject::IsForeign() const { return thread_ != ::GetCurrentThreadId(); }

HRESULT AutomationObject::QueryInterface(REFIID id, void** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (id == IID_IUnknown || id == IID_IDispatch || id == dual_) {
        const HRESULT code = id == dual_ ? OnQuery() : S_OK;
        if (code != S_OK) return code;
        *out = static_cast<IDispatch*>(this);
    } else if (id == IID_IConnectionPointContainer && !outgoing_.empty()) {
        *out = static_cast<IConnectionPointContainer*>(this);
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

HRESULT AutomationObject::GetTypeInfoCount(UINT* count) {
    if (count == nullptr) return E_POINTER;
    *count = 0;
    return S_OK;
}

HRESULT AutomationObject::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
    if (info != nullptr) *info = nullptr;
    return E_NOTIMPL;
}

HRESULT AutomationObject::GetIDsOfNames(REFIID id, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    std::fill_n(ids, count, DISPID_UNKNOWN);
    const auto found = std::ranges::find_if(
        members_, [&](const Member& member) { return ::_wcsicmp(member.name, names[0]) == 0; });
    if (found != members_.end()) ids[0] = found->id;
    // No parameter has a name here.
    return found != members_.end() && count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT AutomationObject::Invoke(DISPID id, REFIID reserved, LCID, WORD kind,
                                 DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                 UINT*) {
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (reserved != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (parameters == nullptr) return E_INVALIDARG;
    const auto found = std::ranges::find(members_, id, &Member::id);
    if (found == members_.end() || (kind & found->kind) == 0) return DISP_E_MEMBERNOTFOUND;
    if (parameters->cNamedArgs != 0) return DISP_E_NONAMEDARGS;
    if (parameters->cArgs < found->least_arguments || parameters->cArgs > found->most_arguments)
        return DISP_E_BADPARAMCOUNT;

    VARIANT given;
    ::VariantInit(&given);
    const auto self = vek::RefPtr<AutomationObject>::Share(this);
    HRESULT code = DISP_E_TYPEMISMATCH;
    try {
        code = Call(id, Arguments(*parameters), given);
    } catch (const std::invalid_argument&) {
        return DISP_E_TYPEMISMATCH;
    } catch (...) {
        code = E_OUTOFMEMORY;
    }
    if (FAILED(code)) {
        ::VariantClear(&given);
        if (exception == nullptr) return code;
        *exception = {};
        exception->scode = code;
        exception->bstrSource = ::SysAllocString(L"Microsoft Outlook");
        return DISP_E_EXCEPTION;
    }
    if (result != nullptr)
        *result = given;
    else
        ::VariantClear(&given);
    return S_OK;
}

HRESULT AutomationObject::EnumConnectionPoints(IEnumConnectionPoints** out) {
    if (out != nullptr) *out = nullptr;
    return E_NOTIMPL;
}

HRESULT AutomationObject::FindConnectionPoint(REFIID events, IConnectionPoint** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (IsForeign()) return RPC_E_WRONG_THREAD;
    if (std::ranges::find(outgoing_, events) == outgoing_.end()) return CONNECT_E_NOCONNECTION;
    return plugins::com::AtBorder([&] {
        auto self = vek::RefPtr<AutomationObject>::Share(this);
        *out = vek::MakeObject<ConnectionPoint>(std::move(self), events).detach();
    });
}

VARIANT TextValue(std::u16string_view text) {
    VARIANT value;
    value.vt = VT_BSTR;
    value.bstrVal = ::SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()),
                                        static_cast<UINT>(text.size()));
    if (value.bstrVal == nullptr) throw std::bad_alloc();
    return value;
}

VARIANT NumberValue(std::int32_t number) {
    VARIANT value;
    value.vt = VT_I4;
    value.lVal = number;
    return value;
}

VARIANT ObjectValue(vek::RefPtr<IDispatch> object) {
    VARIANT value;
    value.vt = VT_DISPATCH;
    value.pdispVal = object.detach();
    return value;
}

VARIANT UnknownValue(vek::RefPtr<IUnknown> object) {
    VARIANT value;
    value.vt = VT_UNKNOWN;
    value.punkVal = object.detach();
    return value;
}

VARIANT FlagByReference(VARIANT_BOOL& flag) {
    VARIANT value;
    value.vt = VT_BYREF | VT_BOOL;
    value.pboolVal = &flag;
    return value;
}

}  // namespace sandbox::host
