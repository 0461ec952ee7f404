#pragma once

#include <cstdint>
#include <string_view>

namespace vek::platform {

// A file that is only written at its end. Others may read, rename and delete it meanwhile.
class AppendFile {
public:
    AppendFile() noexcept = default;
    AppendFile(AppendFile&& other) noexcept;
    AppendFile& operator=(AppendFile&& other) noexcept;
    ~AppendFile();

    // Opens the file at `path` (UTF-8) or creates it, for its owner alone where the system's
    // default is not that already. On failure the result is empty; LastError() says why.
    static AppendFile Open(std::string_view path);

    // Hands `bytes` to the system in one call, so that they outlive this process however it ends.
    // False when not all of them were taken; LastError() says why.
    bool Append(std::string_view bytes) noexcept;

    // The bytes in the file now; zero when the system does not tell.
    std::uint64_t Size() const noexcept;

    explicit operator bool() const noexcept { return handle_ != kNoHandle; }

private:
    // Both a HANDLE and a descriptor that are none have this value.
    static constexpr std::intptr_t kNoHandle = -1;

    explicit AppendFile(std::intptr_t handle) noexcept : handle_(handle) {}

    std::intptr_t handle_ = kNoHandle;
};

}  // namespace vek::platform
