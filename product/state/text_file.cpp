#include "product/state/text_file.h"

#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace reference_product {
namespace {

// Windows does not replace a file while it is read: so try again for a moment.
std::error_code Rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code error;
    for (int attempt = 0; attempt < 50; ++attempt) {
        std::filesystem::rename(from, to, error);
        if (error != std::errc::permission_denied) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return error;
}

// Gives nothing when there is no such file. A file that another process is just replacing may exist
// and not open: so try again for a moment.
std::optional<std::ifstream> Open(const std::filesystem::path& path) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        std::ifstream file(path, std::ios::binary);
        if (file) return file;
        std::error_code error;
        if (!std::filesystem::exists(path, error) && !error) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw std::runtime_error(PathText(path) + ": cannot be read");
}

}  // namespace

std::string PathText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::filesystem::path PathOf(std::string_view text) {
    return std::u8string(text.begin(), text.end());
}

std::optional<std::string> ReadTextFile(const std::filesystem::path& path) {
    std::optional<std::ifstream> file = Open(path);
    if (!file) return std::nullopt;
    std::string text;
    for (std::array<char, 4096> piece; *file && text.size() <= kLongestTextFile;) {
        file->read(piece.data(), piece.size());
        text.append(piece.data(), static_cast<std::size_t>(file->gcount()));
    }
    // Some systems let a folder be opened like a file.
    if (!file->eof() && text.size() <= kLongestTextFile)
        throw std::runtime_error(PathText(path) + ": cannot be read");
    if (text.size() > kLongestTextFile) throw std::runtime_error(PathText(path) + ": too long");
    return text;
}

void ReplaceTextFile(const std::filesystem::path& path, std::string_view text) {
    std::filesystem::path written = path;
    written += ".new";
    std::ofstream file(written, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file || Rename(written, path)) {
        std::error_code ignored;
        std::filesystem::remove(written, ignored);
        throw std::runtime_error(PathText(path) + ": cannot be written");
    }
}

}  // namespace reference_product
