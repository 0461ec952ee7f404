#include <windows.h>

#include "common/product_info/product_library.h"
#include "vek/core/text.h"

namespace plugins::product_info {

std::optional<LibraryName> InstalledLibrary(vek::platform::Registry& registry) {
    try {
        const auto key = helpers::RegistryKey::OpenIfThere(
            ProductKey(), helpers::registry_access::kRead, registry);
        if (!key) return std::nullopt;
        LibraryName name{vek::ToUtf8(key->GetString(u"ProductInfo")), key->Info().last_write};
        if (name.path.empty()) return std::nullopt;
        return name;
    } catch (const vek::CheckFailedException&) {  // nobody can be shown why
        return std::nullopt;
    }
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
