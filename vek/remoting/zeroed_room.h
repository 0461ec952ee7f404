#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

namespace vek::remoting {

// What a connection keeps of the storage that its objects' methods fill, for the next of them. Any
// thread.
class ZeroedRooms {
public:
    // Longer storage is not kept. Streams are usually read in pieces of this size.
    static constexpr std::size_t kKept = std::size_t{64} << 10;

    ZeroedRooms() = default;
    ~ZeroedRooms() { delete[] kept_.load(); }
    ZeroedRooms(const ZeroedRooms&) = delete;
    ZeroedRooms& operator=(const ZeroedRooms&) = delete;

private:
    friend class ZeroedRoom;
    std::atomic<std::byte*> kept_{nullptr};  // kKept bytes, all zero, that nobody uses
};

// Storage for a method to fill. It is all zero at first, so that what the method claims to have
// filled and has not is zero for the peer, and nothing of this process. It is cleared at its end,
// when the reply has been sent and nobody waits: all of it, for a method may have written beyond
// what it says. One thread at a time.
class ZeroedRoom {
public:
    // `rooms` outlives it. Raises std::bad_alloc.
    ZeroedRoom(ZeroedRooms& rooms, std::size_t size) : rooms_(rooms), size_(size) {
        if (IsKept()) bytes_.reset(rooms.kept_.exchange(nullptr));
        if (!bytes_) bytes_ = std::make_unique<std::byte[]>(std::max(size, ZeroedRooms::kKept));
    }
    ~ZeroedRoom() {
        if (!IsKept()) return;
        std::memset(bytes_.get(), 0, size_);
        bytes_.reset(rooms_.kept_.exchange(bytes_.release()));
    }
    ZeroedRoom(const ZeroedRoom&) = delete;
    ZeroedRoom& operator=(const ZeroedRoom&) = delete;

    std::span<std::byte> bytes() const noexcept { return {bytes_.get(), size_}; }

    // Gives the first `count` bytes, or all when there are fewer.
    std::span<const std::byte> First(std::size_t count) const noexcept {
        return bytes().first(std::min(count, size_));
    }

private:
    bool IsKept() const noexcept { return size_ <= ZeroedRooms::kKept; }

    ZeroedRooms& rooms_;
    std::unique_ptr<std::byte[]> bytes_;
    const std::size_t size_;
};

}  // namespace vek::remoting
