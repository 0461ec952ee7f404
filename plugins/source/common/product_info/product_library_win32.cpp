#include <windows.h>

#include "common/product_info/product_library.h"

namespace plugins::product_info {
namespace {

namespace platform = vek::platform;

// The machine's: what is loaded from there, its administrators have installed.
constexpr auto kRoot = platform::RegistryRoot::kLocalMachine;
constexpr char kKey[] = "SOFTWARE\\QZ\\Mail Plugin";

}  // namespace

std::optional<LibraryName> InstalledLibrary(platform::Registry& registry) {
    LibraryName name{};
    const auto error = registry.ReadText(kRoot, kKey, "ProductInfo", name.path);
    if (error != platform::system_error::kNone || name.path.empty()) return std::nullopt;
    registry.ReadLastWriteTime(kRoot, kKey, name.since);
    return name;
}

bool IsLocalPath(const std::string& path) {
    const auto is_letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    const bool absolute = path.size() > 3 && is_letter(path[0]) && path[1] == ':' &&
                          (path[2] == '\\' || path[2] == '/');
    if (!absolute) return false;
    const char root[] = {path[0], ':', '\\', '\0'};
    const UINT drive = ::GetDriveTypeA(root);
    return drive == DRIVE_FIXED || drive == DRIVE_RAMDISK;
}

}  // namespace plugins::product_info
