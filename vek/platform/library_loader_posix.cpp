#include "vek/platform/library_loader.h"

#include <dlfcn.h>

#include <string>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/platform/unique_resource.h"

namespace vek::platform {
namespace {

struct LibraryTraits {
    using value_t = void*;
    static constexpr value_t None() noexcept { return nullptr; }
    static void Close(value_t library) noexcept { ::dlclose(library); }
};

class SystemLibrary final : public Library {
public:
    explicit SystemLibrary(UniqueResource<LibraryTraits> library) noexcept
        : library_(std::move(library)) {}

    Symbol Find(const char* name) const noexcept override {
        void* const symbol = ::dlsym(library_.get(), name);
        if (symbol == nullptr) SetLastError(system_error::kProcedureNotFound);
        return reinterpret_cast<Symbol>(symbol);
    }
    Symbol FindOrdinal(std::uint16_t) const noexcept override {
        SetLastError(system_error::kProcedureNotFound);
        return nullptr;
    }

private:
    const UniqueResource<LibraryTraits> library_;
};

class SystemLibraryLoader final : public LibraryLoader {
public:
    std::unique_ptr<Library> Load(std::string_view path) override {
        UniqueResource<LibraryTraits> library(
            ::dlopen(std::string(path).c_str(), RTLD_NOW | RTLD_LOCAL));
        if (library) return std::make_unique<SystemLibrary>(std::move(library));
        SetLastError(system_error::kModuleNotFound);
        return nullptr;
    }
};

}  // namespace

LibraryLoader& TheLibraryLoader() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<SystemLibraryLoader> loader;
    return *loader;
}

}  // namespace vek::platform
