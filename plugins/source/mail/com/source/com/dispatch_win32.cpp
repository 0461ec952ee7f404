#include "com/dispatch_win32.h"

#include "com/border.h"

namespace plugins::com {

HRESULT FindMembers(std::span<const DispatchMember> members, REFIID id, LPOLESTR* names, UINT count,
                    DISPID* ids) noexcept {
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
    for (const DispatchMember& member : members) {
        if (names[0] != nullptr && ::lstrcmpiW(names[0], member.name) == 0) ids[0] = member.id;
    }
    return ids[0] != DISPID_UNKNOWN && count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT ExpectMethodCall(REFIID id, WORD kind) noexcept {
    if (id != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    return (kind & DISPATCH_METHOD) != 0 ? S_OK : DISP_E_MEMBERNOTFOUND;
}

HRESULT InvokeMethod(const DispatchCall& call,
                     vek::FunctionRef<HRESULT(DISPID, const EventArguments&)> run) noexcept {
    if (const HRESULT wrong = ExpectMethodCall(call.id, call.kind); wrong != S_OK) return wrong;
    if (call.parameters == nullptr) return E_INVALIDARG;
    if (call.result != nullptr) ::VariantInit(call.result);

    bool has_run = false;
    HRESULT given = S_OK;
    const HRESULT taken = AtBorder([&] {
        given = run(call.member, EventArguments(call.parameters, call.wrong_argument));
        has_run = true;
    });
    if (!has_run) return taken;
    if (SUCCEEDED(given)) return given;
    if (call.exception == nullptr) return DISP_E_EXCEPTION;
    *call.exception = {};
    call.exception->scode = given;
    return DISP_E_EXCEPTION;
}

}  // namespace plugins::com
