#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "product/state/text_file.h"
#include "vek/platform/native_handle.h"

namespace reference_product {

std::optional<std::string> ReadAtOnce(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::string text;
    for (std::array<char, 4096> piece; file && text.size() <= kLongestTextFile;) {
        file.read(piece.data(), piece.size());
        text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    // A folder can be opened like a file.
    if (!file.eof() && text.size() <= kLongestTextFile) return std::nullopt;
    return text;
}

bool WriteThrough(const std::filesystem::path& path, std::string_view text) {
    const vek::platform::NativeHandle owned(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    const int file = static_cast<int>(owned.get());
    return owned && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
           ::fsync(file) == 0;
}

}  // namespace reference_product
