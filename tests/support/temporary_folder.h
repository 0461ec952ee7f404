#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

namespace tests {

// An empty folder of its own, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() { std::filesystem::create_directories(path_); }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(path_, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

private:
    const std::filesystem::path path_ = std::filesystem::temp_directory_path() /
                                        std::to_string(std::random_device{}()).append(".test");
};

// `path` in UTF-8.
inline std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

// The bytes of a file; empty when there is none.
inline std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace tests
