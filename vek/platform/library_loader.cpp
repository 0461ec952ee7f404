#include "vek/platform/library_loader.h"

#include <utility>

namespace vek::platform {
namespace {

class SystemLibrary final : public Library {
public:
    explicit SystemLibrary(DynamicLibrary library) noexcept : library_(std::move(library)) {}

    DynamicLibrary::Symbol Find(const char* name) const noexcept override {
        return library_.Find(name);
    }
    DynamicLibrary::Symbol FindOrdinal(std::uint16_t ordinal) const noexcept override {
        return library_.FindOrdinal(ordinal);
    }

private:
    const DynamicLibrary library_;
};

class SystemLibraryLoader final : public LibraryLoader {
public:
    std::unique_ptr<Library> Load(std::string_view path) override {
        DynamicLibrary library = DynamicLibrary::Load(path);
        if (!library) return nullptr;
        return std::make_unique<SystemLibrary>(std::move(library));
    }
};

}  // namespace

LibraryLoader& TheLibraryLoader() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static auto& loader = *new SystemLibraryLoader;
    return loader;
}

}  // namespace vek::platform
