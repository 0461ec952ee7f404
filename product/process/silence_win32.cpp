#include <windows.h>

#include <tlhelp32.h>

#include "product/process/silence.h"
#include "vek/platform/handle_win32.h"

namespace reference_product {

// Every other thread, then the caller.
void StopThisProcess() noexcept {
    const HANDLE threads = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = ::Thread32First(threads, &entry); more != FALSE;
         more = ::Thread32Next(threads, &entry)) {
        if (entry.th32OwnerProcessID != ::GetCurrentProcessId() ||
            entry.th32ThreadID == ::GetCurrentThreadId())
            continue;
        const vek::platform::UniqueHandle thread(
            ::OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID));
        ::SuspendThread(thread.get());
    }
    ::SuspendThread(::GetCurrentThread());
}

}  // namespace reference_product
