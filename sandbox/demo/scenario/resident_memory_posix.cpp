#include <unistd.h>

#include <fstream>

#include "sandbox/demo/scenario/resident_memory.h"

namespace sandbox::demo {

std::uint64_t ResidentMemory() {
    // In pages: the whole, then what is resident (proc(5)).
    std::ifstream file("/proc/self/statm");
    std::uint64_t size = 0;
    std::uint64_t resident = 0;
    file >> size >> resident;
    return resident * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace sandbox::demo
