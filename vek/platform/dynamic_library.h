#pragma once

#include <cstdint>
#include <string_view>

#include "vek/platform/system_error.h"

namespace vek::platform {

// A loaded library, unloaded with its owner.
class DynamicLibrary {
public:
    using Symbol = void (*)();

    DynamicLibrary() noexcept = default;
    DynamicLibrary(DynamicLibrary&& other) noexcept;
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept;
    ~DynamicLibrary();

    // `path` is UTF-8: a path, or a bare name that the system searches for. On failure the
    // result is empty; LastError() says why.
    static DynamicLibrary Load(std::string_view path);

    // Null when the library does not export it; LastError() says why. Ordinals exist on Windows
    // alone; elsewhere the answer is null.
    Symbol Find(const char* name) const noexcept;
    Symbol FindOrdinal(std::uint16_t ordinal) const noexcept;

    explicit operator bool() const noexcept { return handle_ != nullptr; }

private:
    void* handle_ = nullptr;
};

}  // namespace vek::platform
