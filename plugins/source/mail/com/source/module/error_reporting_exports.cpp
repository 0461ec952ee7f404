// The exports that Windows Error Reporting calls, in a process of its own, when the host program
// has crashed and its settings name this module. Each gives the same answer to everything: the
// report is the system's.

#include <windows.h>

// The system's description of the crashed process, which nothing here looks at.
struct WER_RUNTIME_EXCEPTION_INFORMATION;

extern "C" {

// Claims no crash.
HRESULT WINAPI OutOfProcessExceptionEventCallback(void* /*context*/,
                                                  const WER_RUNTIME_EXCEPTION_INFORMATION*,
                                                  BOOL* claimed, wchar_t* /*event_name*/,
                                                  DWORD* /*event_name_size*/,
                                                  DWORD* /*signature_count*/) noexcept {
    if (claimed != nullptr) *claimed = FALSE;
    return S_OK;
}

// Sets nothing, so that no debugger is launched.
HRESULT WINAPI OutOfProcessExceptionEventDebuggerLaunchCallback(
    void* /*context*/, const WER_RUNTIME_EXCEPTION_INFORMATION*, BOOL* /*is_custom_debugger*/,
    wchar_t* /*debugger_launch*/, DWORD* /*debugger_launch_size*/,
    BOOL* /*is_debugger_autolaunch*/) noexcept {
    return S_OK;
}

// Has no signature of its own.
HRESULT WINAPI OutOfProcessExceptionEventSignatureCallback(void* /*context*/,
                                                           const WER_RUNTIME_EXCEPTION_INFORMATION*,
                                                           DWORD /*index*/, wchar_t* /*name*/,
                                                           DWORD* /*name_size*/, wchar_t* /*value*/,
                                                           DWORD* /*value_size*/) noexcept {
    return E_FAIL;
}

}  // extern "C"
