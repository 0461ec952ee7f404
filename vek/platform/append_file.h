#pragma once

#include <cstdint>
#include <string_view>

#include "vek/platform/native_handle.h"

namespace vek::platform {

// A file that is only written at its end, or none. Others may read, rename and delete it
// meanwhile. One thread at a time may use an object.
class AppendFile {
public:
    // Opens the file at `path` (UTF-8) or creates it, for its owner alone where the system's
    // default is not that already. Follows no link, and takes nothing but a plain file that is
    // this process's user's and has no other name: folders for everyone are where trace files may
    // be. On failure the result is empty; LastError() says why.
    static AppendFile Open(std::string_view path);
    // As Open, for a file that is not there yet.
    static AppendFile Create(std::string_view path);

    // Hands `bytes` to the system in one call, so that they outlive this process however it ends.
    // False when not all of them were taken; LastError() says why.
    bool Append(std::string_view bytes) noexcept;

    // Has what was appended outlive a loss of power too. False when the system refuses;
    // LastError() says why.
    bool Flush() noexcept;

    // The bytes in the file now; zero when the system does not tell.
    std::uint64_t Size() const noexcept;

    explicit operator bool() const noexcept { return static_cast<bool>(handle_); }

private:
    static AppendFile Open(std::string_view path, bool is_new);

    NativeHandle handle_;
};

}  // namespace vek::platform
