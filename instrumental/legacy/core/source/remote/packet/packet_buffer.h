#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>

namespace remote {

// Owns the bytes of a received packet. Not initialised, and of the C heap, where the RPC runtime's
// allocations come from too.
class PacketBuffer {
public:
    PacketBuffer() noexcept = default;
    // Takes over what std::malloc gave.
    PacketBuffer(void* bytes, std::size_t size) noexcept
        : bytes_(static_cast<std::byte*>(bytes)), size_(size) {}

    // Empty, with a null data(), when there is no memory.
    static PacketBuffer Allocate(std::size_t size) noexcept {
        void* bytes = std::malloc(size == 0 ? 1 : size);
        return bytes == nullptr ? PacketBuffer() : PacketBuffer(bytes, size);
    }

    std::byte* data() const noexcept { return bytes_.get(); }
    std::size_t size() const noexcept { return size_; }
    std::span<std::byte> span() const noexcept { return {data(), size_}; }
    explicit operator bool() const noexcept { return bytes_ != nullptr; }

private:
    struct Free {
        void operator()(std::byte* bytes) const noexcept { std::free(bytes); }
    };
    std::unique_ptr<std::byte, Free> bytes_;
    std::size_t size_ = 0;
};

}  // namespace remote
