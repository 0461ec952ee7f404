// Windows 7 has it in kernel32 itself.
#define PSAPI_VERSION 2
#include <windows.h>
// After windows.h, which it needs.
#include <psapi.h>

#include "sandbox/demo/scenario/resident_memory.h"

namespace sandbox::demo {

std::uint64_t ResidentMemory() {
    PROCESS_MEMORY_COUNTERS counters{};
    if (!::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters)) return 0;
    return counters.WorkingSetSize;
}

}  // namespace sandbox::demo
