#include <sys/stat.h>

#include "common/product_info/product_library.h"
#include "vek/platform/environment.h"

namespace plugins::product_info {

std::optional<LibraryName> InstalledLibrary(vek::platform::Registry&) {
    const std::optional<std::string> path = vek::platform::GetEnvironment("MLXO_PRODUCT_INFO");
    if (!path || path->empty()) return std::nullopt;
    // The variable does not tell when it was written; the file does.
    struct stat file {};
    const bool exists = ::stat(path->c_str(), &file) == 0;
    return LibraryName{*path, exists
                                  ? static_cast<vek::platform::filetime_t>(
                                        file.st_mtim.tv_sec * 1'000'000'000 + file.st_mtim.tv_nsec)
                                  : 0};
}

bool IsLocalPath(const std::string& path) { return path.starts_with('/'); }

}  // namespace plugins::product_info
