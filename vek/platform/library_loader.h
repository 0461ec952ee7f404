#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "vek/platform/dynamic_library.h"

namespace vek::platform {

// A loaded library, unloaded with its owner.
class Library {
public:
    virtual ~Library() = default;

    // Null when the library does not export it; LastError() says why.
    virtual DynamicLibrary::Symbol Find(const char* name) const noexcept = 0;
    virtual DynamicLibrary::Symbol FindOrdinal(std::uint16_t ordinal) const noexcept = 0;
};

// Loads libraries. A seam: a test passes a loader whose libraries lack what they should have.
class LibraryLoader {
public:
    virtual ~LibraryLoader() = default;

    // `path` is UTF-8: a path, or a bare name that the system searches for. On failure gives
    // null; LastError() says why.
    virtual std::unique_ptr<Library> Load(std::string_view path) = 0;
};

// The system's own.
LibraryLoader& TheLibraryLoader() noexcept;

}  // namespace vek::platform
