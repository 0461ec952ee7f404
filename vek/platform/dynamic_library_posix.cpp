#include <dlfcn.h>

#include <string>
#include <utility>

#include "vek/platform/dynamic_library.h"

namespace vek::platform {

DynamicLibrary::DynamicLibrary(DynamicLibrary&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)) {}

DynamicLibrary& DynamicLibrary::operator=(DynamicLibrary&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
}

DynamicLibrary::~DynamicLibrary() {
    if (handle_ != nullptr) ::dlclose(handle_);
}

DynamicLibrary DynamicLibrary::Load(std::string_view path) {
    DynamicLibrary library;
    library.handle_ = ::dlopen(std::string(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) SetLastError(system_error::kModuleNotFound);
    return library;
}

DynamicLibrary::Symbol DynamicLibrary::Find(const char* name) const noexcept {
    // Without a library dlsym would search the whole program.
    void* symbol = handle_ == nullptr ? nullptr : ::dlsym(handle_, name);
    if (symbol == nullptr) SetLastError(system_error::kProcedureNotFound);
    return reinterpret_cast<Symbol>(symbol);
}

DynamicLibrary::Symbol DynamicLibrary::FindOrdinal(std::uint16_t) const noexcept {
    SetLastError(system_error::kProcedureNotFound);
    return nullptr;
}

}  // namespace vek::platform
