#pragma once

#include <cstdint>
#include <cstring>

#include "vek/serialization/bytes.h"
#include "vek/serialization/inline_vector.h"

namespace vek::serialization {

// Collects bytes to be sent. Short ones are copied together; a long range is kept as a view, so
// that it goes from its owner to the transport without a copy. What most calls take is kept in the
// writer itself. Operations raise std::bad_alloc.
class Writer {
public:
    // Ranges from this length on are viewed: below, a copy costs less than a piece of its own.
    static constexpr std::size_t kViewedFrom = 1024;

    // `room` bytes are kept free in front of what is written.
    explicit Writer(std::size_t room = 0) : room_(room) { copied_.Add(room); }

    template <Number T>
    void Write(T number) {
        std::memcpy(copied_.Add(sizeof number), &number, sizeof number);
        size_ += sizeof number;
    }

    // Copied.
    void WriteBytes(bytes_t bytes) {
        copied_.Append(bytes);
        size_ += bytes.size();
    }

    // Copied or viewed: `bytes` must stay as they are as long as the writer is used.
    void WriteRange(bytes_t bytes) {
        if (bytes.size() < kViewedFrom) return WriteBytes(bytes);
        viewed_.Append(Viewed{copied_.size(), bytes});
        size_ += bytes.size();
    }

    std::uint64_t size() const noexcept { return size_; }

    // The bytes written, in order. Valid until the next write.
    std::span<const bytes_t> Pieces() {
        pieces_.clear();
        if (!viewed_.empty()) {
            PlaceViews();
        } else if (copied_.size() > room_) {
            pieces_.Append(bytes_t(copied_).subspan(room_));
        }
        return pieces_;
    }

    // The free room, which ends where the first piece begins; empty when that is a view. Whoever
    // sends the pieces may write there. Valid as long as they are.
    std::span<std::byte> Room() noexcept {
        const std::size_t first = viewed_.empty() ? copied_.size() : viewed_.data()->copied_before;
        return {copied_.first(), first > room_ ? room_ : 0};
    }

private:
    struct Viewed {
        std::size_t copied_before;  // how much of copied_ goes before it, the room included
        bytes_t bytes;
    };

    void PlaceViews();

    const std::size_t room_;
    InlineVector<std::byte, 304> copied_;
    InlineVector<Viewed, 2> viewed_;
    InlineVector<bytes_t, 5> pieces_;  // each view, and what was copied around them
    std::uint64_t size_ = 0;
};

}  // namespace vek::serialization
