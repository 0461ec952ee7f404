#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "vek/platform/system_error.h"

namespace vek::platform {

// A loaded library, unloaded with its owner. Any thread may look symbols up.
class Library {
public:
    using Symbol = void (*)();

    virtual ~Library() = default;

    // Each gives null when the library does not export it; LastError() says why. Only Windows has
    // ordinals; elsewhere the answer is null.
    virtual Symbol Find(const char* name) const noexcept = 0;
    virtual Symbol FindOrdinal(std::uint16_t ordinal) const noexcept = 0;
};

// Loads libraries. A seam: a test passes a loader whose libraries lack what they should have.
class LibraryLoader {
public:
    virtual ~LibraryLoader() = default;

    // `path` is UTF-8: a path, or the bare name of one of the system's own libraries: on Windows
    // it is looked for in the system's folder and nowhere else. On failure gives
    // null; LastError() says why. Any thread may call it; raises only for want of memory.
    virtual std::unique_ptr<Library> Load(std::string_view path) = 0;
};

// The system's own.
LibraryLoader& TheLibraryLoader() noexcept;

}  // namespace vek::platform
