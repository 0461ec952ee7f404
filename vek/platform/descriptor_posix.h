#pragma once

#include <unistd.h>

#include <utility>

namespace vek::platform {

// Owns a file descriptor, or none (-1).
class Descriptor {
public:
    explicit Descriptor(int value = -1) noexcept : value_(value) {}
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Descriptor() {
        if (value_ >= 0) ::close(value_);
    }

    int get() const noexcept { return value_; }
    int Release() noexcept { return std::exchange(value_, -1); }
    explicit operator bool() const noexcept { return value_ >= 0; }

private:
    int value_;
};

}  // namespace vek::platform
