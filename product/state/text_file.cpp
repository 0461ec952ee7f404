#include "product/state/text_file.h"

#include <chrono>
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

}  // namespace

std::string PathText(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::filesystem::path PathOf(std::string_view text) {
    return std::u8string(text.begin(), text.end());
}

// A file that another process is just replacing may exist and not open: so try again for a moment.
std::optional<std::string> ReadTextFile(const std::filesystem::path& path) {
    for (int attempt = 0; attempt < 20; ++attempt) {
        std::optional<std::string> text = ReadAtOnce(path);
        if (text && text->size() > kLongestTextFile)
            throw std::runtime_error(PathText(path) + ": too long");
        if (text) return text;
        std::error_code error;
        if (!std::filesystem::exists(path, error) && !error) return std::nullopt;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    throw std::runtime_error(PathText(path) + ": cannot be read");
}

void ReplaceTextFile(const std::filesystem::path& path, std::string_view text) {
    std::filesystem::path written = path;
    written += ".new";
    if (!WriteThrough(written, text) || Rename(written, path)) {
        std::error_code ignored;
        std::filesystem::remove(written, ignored);
        throw std::runtime_error(PathText(path) + ": cannot be written");
    }
}

}  // namespace reference_product
