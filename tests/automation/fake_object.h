#pragma once

#include <ocidl.h>

#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "automation/automation_ids.h"
#include "com/com_object.h"
#include "com/ole_values_win32.h"

namespace tests {

namespace automation = plugins::mail_processing::automation;
using plugins::com::OwnedVariant;

template <class T>
OwnedVariant Typed(VARTYPE type, T value) {
    OwnedVariant variant;
    variant.address()->vt = type;
    // Of a pointer, the pointer. NOLINTNEXTLINE(bugprone-sizeof-expression)
    std::memcpy(&variant.address()->llVal, &value, sizeof(value));
    return variant;
}
inline OwnedVariant Dispatch(IDispatch* object) {
    return Typed(VT_DISPATCH, vek::RefPtr<IDispatch>::Share(object).detach());
}

// What the fakes of a test were asked, and which of it fails.
struct CallPlan {
    static constexpr HRESULT kCode = static_cast<HRESULT>(0x87650001);

    void Start(int which) { failing = which, calls = 0, log.clear(); }
    bool Fails(HRESULT code = kCode) { return ++calls == failing && (given = code, true); }

    // How a failing call of a member reports it.
    HRESULT (*report)(EXCEPINFO&) = [](EXCEPINFO& i) { return i.scode = kCode, DISP_E_EXCEPTION; };
    int failing = 0;  // from 1
    int calls = 0;
    HRESULT given = S_OK;  // by what failed
    std::string log;
};

using Container = IConnectionPointContainer;

// An automation object out of a table, with a connection point for any interface.
class FakeObject final
    : public plugins::com::CountedObject<IDispatch, Container, IConnectionPoint> {
public:
    explicit FakeObject(CallPlan& plan, const IID& own = IID_IDispatch) : plan_(plan), own_(own) {}

    // A further value under the same number is what the next index gives.
    FakeObject& Has(const wchar_t* name, DISPID id, OwnedVariant value = {}) {
        members_[id].first = name;
        members_[id].second.push_back(std::move(value));
        return *this;
    }

    // Raises an event without holding the sink. `arguments` in reverse order.
    HRESULT Raise(const IID& events, DISPID event, std::vector<VARIANT> arguments = {}) {
        DISPPARAMS given{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        auto* const sink = sinks.at(events.Data1).get();
        return sink->Invoke(event, IID_NULL, 0, DISPATCH_METHOD, &given, nullptr, nullptr, nullptr);
    }

    std::map<DWORD, vek::RefPtr<IDispatch>> sinks;  // by the first part of the id
    std::function<void()> on_unadvise = [] {};

    HRESULT WINAPI GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* id) override {
        plan_.log += "? ";
        for (const auto& [number, member] : members_)
            if (member.first == *names) return *id = number, S_OK;
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT WINAPI Invoke(DISPID id, REFIID, LCID, WORD kind, DISPPARAMS* parameters,
                          VARIANT* result, EXCEPINFO* exception, UINT*) override {
        auto& [name, values] = members_.at(id);
        plan_.log.append(name.begin(), name.end());
        std::size_t index = 0;
        for (UINT i = parameters->cArgs; i-- != 0;) {
            OwnedVariant argument;
            ::VariantCopy(argument.address(), &parameters->rgvarg[i]);
            if (values.size() > 1) index = static_cast<std::size_t>(argument.get().lVal - 1);
            const std::u16string text = std::move(argument).Text();
            plan_.log.append(":").append(text.begin(), text.end());
        }
        plan_.log += kind == DISPATCH_METHOD ? "() " : " ";
        if (plan_.Fails()) return plan_.report(*exception);
        return ::VariantCopy(result, values.at(index).address());
    }

    HRESULT WINAPI EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT WINAPI FindConnectionPoint(REFIID events, IConnectionPoint** out) override {
        if (plan_.Fails()) return CallPlan::kCode;
        found_ = events;
        AddRef();
        return *out = this, S_OK;
    }
    HRESULT WINAPI GetConnectionInterface(IID*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetConnectionPointContainer(Container**) override { return E_NOTIMPL; }
    // Whether it fails or not, the sink is kept.
    HRESULT WINAPI Advise(IUnknown* sink, DWORD* cookie) override {
        *cookie = found_.Data1;
        const HRESULT hr = sink->QueryInterface(found_, sinks[found_.Data1].put_void());
        return plan_.Fails() ? CallPlan::kCode : hr;
    }
    HRESULT WINAPI Unadvise(DWORD cookie) override {
        on_unadvise();
        if (plan_.Fails()) return CallPlan::kCode;
        return sinks.erase(cookie), S_OK;
    }
    HRESULT WINAPI EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

private:
    void* Find(REFIID id) noexcept override {
        if (plan_.Fails(E_NOINTERFACE)) return nullptr;
        if (id == IID_IConnectionPointContainer) return static_cast<Container*>(this);
        return id == own_ || id == IID_IDispatch ? static_cast<IDispatch*>(this) : nullptr;
    }

    CallPlan& plan_;
    const IID own_;
    IID found_{};
    std::map<DISPID, std::pair<std::wstring, std::vector<OwnedVariant>>> members_;
};

}  // namespace tests
