#pragma once

// Small files that people edit and programs exchange.

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace reference_product {

// The longest file that is read, in bytes.
inline constexpr std::size_t kLongestTextFile = 1 << 20;

// Convert a path to UTF-8 and back.
std::string PathText(const std::filesystem::path& path);
std::filesystem::path PathOf(std::string_view text);

// Reads the whole file; gives nothing when it does not exist. Raises std::runtime_error that names
// the file when it cannot be read or is longer than kLongestTextFile.
std::optional<std::string> ReadTextFile(const std::filesystem::path& path);

// Writes a file beside `path` and renames it, so that a reader sees either the old content or the
// new one, whole, even after the machine has lost its power. One writer at a time. Raises
// std::runtime_error that names the file.
void ReplaceTextFile(const std::filesystem::path& path, std::string_view text);

// What the two are made of. The first gives a file's text, or more than kLongestTextFile bytes of
// it; nothing when it cannot be had at this moment: it waits for nobody who has the file open. The
// second tells whether the file now holds the text and lies on the disk.
std::optional<std::string> ReadAtOnce(const std::filesystem::path& path);
bool WriteThrough(const std::filesystem::path& path, std::string_view text);

}  // namespace reference_product
