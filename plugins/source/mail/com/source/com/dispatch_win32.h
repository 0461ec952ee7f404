#pragma once

// The late-bound side of objects whose members no type library of ours describes.

#include <span>

#include "com/event_arguments_win32.h"
#include "vek/core/function_ref.h"

namespace plugins::com {

// A method and its number.
struct DispatchMember {
    const wchar_t* name;
    DISPID id;
};

// IDispatch::GetIDsOfNames over the methods; names count in any case, those of arguments are not
// known.
HRESULT FindMembers(std::span<const DispatchMember> members, REFIID id, LPOLESTR* names, UINT count,
                    DISPID* ids) noexcept;

// S_OK for an IDispatch::Invoke that calls a method; else what it is to be answered with, a DISP_E_
// code.
HRESULT ExpectMethodCall(REFIID id, WORD kind) noexcept;

// What IDispatch::Invoke is given.
struct DispatchCall {
    DISPID member;
    REFIID id;
    WORD kind;
    DISPPARAMS* parameters;
    VARIANT* result;
    EXCEPINFO* exception;
    UINT* wrong_argument;
};

// IDispatch::Invoke of methods without a result. `run` calls one of them, after it has taken all
// arguments: what these raise is given as it is, a DISP_E_ code. The failure of the method itself
// is DISP_E_EXCEPTION to a late-bound caller, who finds the code in `exception`.
HRESULT InvokeMethod(const DispatchCall& call,
                     vek::FunctionRef<HRESULT(DISPID, const EventArguments&)> run) noexcept;

}  // namespace plugins::com
