// The entry point of the tree's DLLs that are unloaded while their process goes on.

#include "vek/platform/module_win32.h"

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* process_ends) {
    // A process that ends takes everything with it; its threads were ended anywhere, with any lock.
    if (reason == DLL_PROCESS_DETACH && process_ends == nullptr) {
        vek::platform::UnloadStep::RunAll();
    }
    return TRUE;
}
