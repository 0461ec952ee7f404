#pragma once

// The registry, as far as texts in it are read and written.

#include <string>
#include <string_view>

#include "vek/platform/calendar.h"
#include "vek/platform/system_error.h"

namespace vek::platform {

enum class RegistryRoot { kLocalMachine, kCurrentUser };

// A seam: a test passes a registry of its own. Paths, names and values are UTF-8; an empty name is
// the key's default value. Operations may be called from any thread.
class Registry {
public:
    virtual ~Registry() = default;

    // Reads a text: REG_SZ, REG_EXPAND_SZ unexpanded, or REG_MULTI_SZ with a NUL after each of its
    // texts. kNone, or why it failed, with `value` untouched: kFileNotFound for a key or value that
    // is not there.
    virtual system_error_t ReadText(RegistryRoot root, std::string_view key, std::string_view name,
                                    std::string& value) = 0;

    // When the key was last written to. kNone, or why it is not known.
    virtual system_error_t ReadLastWriteTime(RegistryRoot, std::string_view /*key*/, filetime_t&) {
        return system_error::kFileNotFound;
    }

    // Writes a REG_SZ into a key that exists.
    virtual system_error_t WriteText(RegistryRoot root, std::string_view key, std::string_view name,
                                     std::string_view value) = 0;

    // kFileNotFound for a key or value that is not there.
    virtual system_error_t DeleteValue(RegistryRoot root, std::string_view key,
                                       std::string_view name) = 0;
};

// The system's own. Where there is no registry every operation gives kFileNotFound.
Registry& TheRegistry() noexcept;

}  // namespace vek::platform
