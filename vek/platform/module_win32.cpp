#include "vek/platform/module_win32.h"

// Of the toolchain: where it lists what it does at the ends of threads, and a spare room of the
// language's runtime library, which the process would keep.
extern "C" const IMAGE_TLS_DIRECTORY _tls_used;
namespace __gnu_cxx {
void __freeres();
}

namespace vek::platform {
namespace {

constinit UnloadStep* last_step = nullptr;

}  // namespace

ModuleHold ModuleHold::Take() noexcept {
    static const char inside = 0;
    ModuleHold hold;
    ::GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, &inside, &hold.module_);
    return hold;
}

UnloadStep::UnloadStep(void (*run)() noexcept) noexcept : run_(run), next_(last_step) {
    last_step = this;
}

void UnloadStep::RunAll() noexcept {
    for (const UnloadStep* step = last_step; step != nullptr; step = step->next_) step->run_();
    // This thread goes on, but not for the library that is linked into this module.
    const auto* end = reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(_tls_used.AddressOfCallBacks);
    for (; *end != nullptr; ++end) (*end)(nullptr, DLL_THREAD_DETACH, nullptr);
    __gnu_cxx::__freeres();
}

}  // namespace vek::platform
