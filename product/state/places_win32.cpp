#include "product/state/places.h"

#include <windows.h>
// After windows.h, which it needs.
#include <shlobj.h>

#include <memory>
#include <string>

namespace reference_product {
namespace {

struct TaskMemoryFree {
    void operator()(wchar_t* memory) const noexcept { ::CoTaskMemFree(memory); }
};

// The system is asked, not the environment: whoever starts a process writes that.
std::filesystem::path OwnFolderIn(const KNOWNFOLDERID& id) {
    wchar_t* text = nullptr;
    const HRESULT result = ::SHGetKnownFolderPath(id, KF_FLAG_DONT_VERIFY, nullptr, &text);
    const std::unique_ptr<wchar_t, TaskMemoryFree> owned(text);
    if (FAILED(result)) return {};
    return std::filesystem::path(text) / "QZ" / "Mail Plugin";
}

}  // namespace

std::filesystem::path CommonDataFolder() { return OwnFolderIn(FOLDERID_ProgramData); }

std::filesystem::path UserDataFolder() { return OwnFolderIn(FOLDERID_LocalAppData); }

}  // namespace reference_product
