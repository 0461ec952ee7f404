#include <windows.h>

#include "product/state/process_start.h"
#include "vek/platform/process_win32.h"

namespace reference_product {

std::optional<std::uint64_t> ProcessStart(std::uint32_t id) {
    const auto process =
        vek::platform::OpenProcessById(id, PROCESS_QUERY_LIMITED_INFORMATION | SYNCHRONIZE);
    FILETIME started, unused;
    // An ended process can be opened for as long as somebody has a handle of it.
    if (!process || ::WaitForSingleObject(process.get(), 0) != WAIT_TIMEOUT ||
        ::GetProcessTimes(process.get(), &started, &unused, &unused, &unused) == FALSE)
        return std::nullopt;
    return std::uint64_t{started.dwHighDateTime} << 32 | started.dwLowDateTime;
}

}  // namespace reference_product
