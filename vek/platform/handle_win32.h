#pragma once

#include <windows.h>

#include <utility>

namespace vek::platform {

// Owns a kernel object's handle, or none (null).
class UniqueHandle {
public:
    explicit UniqueHandle(HANDLE value = nullptr) noexcept : value_(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~UniqueHandle() {
        if (value_ != nullptr) ::CloseHandle(value_);
    }

    HANDLE get() const noexcept { return value_; }
    explicit operator bool() const noexcept { return value_ != nullptr; }

private:
    HANDLE value_;
};

}  // namespace vek::platform
