#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

#include "vek/platform/append_file.h"

namespace reference_product {

// A file that is written at its end and does not grow for ever: when it is full it becomes the one
// with ".1" after its name, in the place of an earlier one, and is begun anew. One thread at a
// time; other processes may write to it between.
class RotatingFile {
public:
    static constexpr std::uint64_t kMostBytes = 16 << 20;

    // Opens the file at its end or creates it. Raises std::runtime_error that names it.
    explicit RotatingFile(std::filesystem::path path, std::uint64_t most_bytes = kMostBytes);

    // As vek::platform::AppendFile.
    bool Append(std::string_view bytes) noexcept;

    // Begins it anew now. Where that cannot be done it goes on as it is.
    void BeginAnew() noexcept;

private:
    const std::filesystem::path path_;
    const std::uint64_t most_bytes_;
    vek::platform::AppendFile file_;
};

}  // namespace reference_product
