#pragma once

#include <cstdint>
#include <cstring>

#include "vek/core/result.h"
#include "vek/serialization/bytes.h"

namespace vek::serialization {

// Takes values out of bytes that came from elsewhere. The first failure stays: whatever is read
// after it is zero or empty, so that a caller may read all and ask once. Allocates nothing and
// raises nothing.
class Reader {
public:
    explicit Reader(bytes_t bytes) noexcept : bytes_(bytes) {}

    // kBufferTooSmall when fewer bytes are left than it takes.
    template <Number T>
    T Read() noexcept {
        T number{};
        const bytes_t bytes = ReadBytes(sizeof number);
        if (bytes.size() == sizeof number) std::memcpy(&number, bytes.data(), sizeof number);
        return number;
    }

    // A view of the next `count` bytes.
    bytes_t ReadBytes(std::uint64_t count) noexcept {
        if (Failed(result_)) return {};
        if (count > left()) {
            result_ = result::kBufferTooSmall;
            return {};
        }
        const bytes_t bytes = bytes_.subspan(consumed_, static_cast<std::size_t>(count));
        consumed_ += bytes.size();
        return bytes;
    }

    // For a value that is wrong in itself. Only the first failure counts.
    void Fail(result_t code) noexcept {
        if (Succeeded(result_)) result_ = code;
    }

    // kOk, or the first failure.
    result_t result() const noexcept { return result_; }
    std::size_t consumed() const noexcept { return consumed_; }
    std::size_t left() const noexcept { return bytes_.size() - consumed_; }

private:
    bytes_t bytes_;
    std::size_t consumed_ = 0;
    result_t result_ = result::kOk;
};

}  // namespace vek::serialization
