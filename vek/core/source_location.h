#pragma once

#include <cstdint>

namespace vek {

// A statement in the source. `file` is constant text, relative to the source tree.
//
// std::source_location would serve, but Clang 14 does not have it; GCC, Clang and MSVC all have
// these two built-in functions.
struct SourceLocation {
    const char* file;
    std::uint32_t line;

    // As a default argument, gives the statement that makes the call.
    static constexpr SourceLocation Here(const char* file = __builtin_FILE(),
                                         std::uint32_t line = __builtin_LINE()) noexcept {
        return {file, line};
    }
};

}  // namespace vek
