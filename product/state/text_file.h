#pragma once

// Small files that people edit and programs exchange.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace reference_product {

inline constexpr std::size_t kLongestTextFile = 1 << 20;

// A path in UTF-8, and the other way round.
std::string PathText(const std::filesystem::path& path);
std::filesystem::path PathOf(std::string_view text);

// The whole file, or nothing when there is none. Raises std::runtime_error that names the file when
// it cannot be read or is longer than kLongestTextFile.
std::optional<std::string> ReadTextFile(const std::filesystem::path& path);

// Writes a file beside `path` and renames it: whoever reads meanwhile sees the old content or the
// new one, whole. One writer at a time. Raises std::runtime_error that names the file.
void ReplaceTextFile(const std::filesystem::path& path, std::string_view text);

}  // namespace reference_product
