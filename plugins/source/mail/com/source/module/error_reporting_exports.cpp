// The callbacks of Windows Error Reporting. Called in its own process, of another's crash.

#include <windows.h>

extern "C" {

// Claims nothing.
HRESULT WINAPI OutOfProcessExceptionEventCallback(void*, const void*, BOOL* claimed, wchar_t*,
                                                  DWORD*, DWORD*) {
    if (claimed != nullptr) *claimed = FALSE;
    return S_OK;
}

// Launches no debugger.
HRESULT WINAPI OutOfProcessExceptionEventDebuggerLaunchCallback(void*, const void*, BOOL*, wchar_t*,
                                                                DWORD*, BOOL*) {
    return S_OK;
}

// Gives no signature of its own.
HRESULT WINAPI OutOfProcessExceptionEventSignatureCallback(void*, const void*, DWORD, wchar_t*,
                                                           DWORD*, wchar_t*, DWORD*) {
    return E_FAIL;
}

}  // extern "C"
