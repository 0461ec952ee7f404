#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sandbox::outlook {

// MAPI's buffers: chains that are freed as a whole with their first one. Free-threaded.
class MapiMemory {
public:
    // A buffer of its own. Raises std::bad_alloc.
    void* Allocate(std::size_t size);

    // Memory that lives as long as the buffer `first`, which Allocate gave. Raises std::bad_alloc.
    void* AllocateMore(std::size_t size, void* first);

    // Frees the chain. A pointer that Allocate never gave or that was freed before is only counted,
    // and the answer is false. Null is fine.
    bool Free(void* first);

    std::size_t LiveBuffers() const;
    std::size_t BadFrees() const;

private:
    using Block = std::unique_ptr<std::byte[]>;
    struct Chain {
        Block first;
        std::vector<Block> more;
    };

    mutable std::mutex mutex_;
    std::unordered_map<void*, Chain> chains_;
    std::size_t bad_frees_ = 0;
};

// Owns a buffer until it is handed over to the caller.
class OwnedBuffer {
public:
    OwnedBuffer(MapiMemory& memory, std::size_t size)
        : memory_(memory), buffer_(memory.Allocate(size)) {}
    ~OwnedBuffer() { memory_.Free(buffer_); }
    OwnedBuffer(const OwnedBuffer&) = delete;
    OwnedBuffer& operator=(const OwnedBuffer&) = delete;

    void* get() const { return buffer_; }
    [[nodiscard]] void* detach() { return std::exchange(buffer_, nullptr); }

private:
    MapiMemory& memory_;
    void* buffer_;
};

}  // namespace sandbox::outlook
