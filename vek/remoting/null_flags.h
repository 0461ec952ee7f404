#pragma once

// Which interface arguments of a call are null: their number (u8), then a bit for each, the first
// in the lowest bit of the first byte.

#include <bitset>
#include <cstdint>

#include "vek/core/throw.h"
#include "vek/serialization/reader.h"
#include "vek/serialization/writer.h"

namespace vek::remoting {

class NullFlags {
public:
    static constexpr std::size_t kMax = 32;

    void Add(bool is_null) {
        Check(count_ < kMax);
        flags_[count_++] = is_null;
    }
    std::size_t count() const noexcept { return count_; }
    bool operator[](std::size_t index) const noexcept { return flags_[index]; }

    void Serialize(serialization::Writer& writer) const {
        writer.Write(static_cast<std::uint8_t>(count_));
        const auto bits = flags_.to_ulong();
        for (std::size_t i = 0; i < count_; i += 8) {
            writer.Write(static_cast<std::uint8_t>(bits >> i));
        }
    }

    // Takes `expected` flags off the end of `data`. kInvalidArgument when it does not end with that
    // many, or with a bit beyond them.
    result_t TakeFromEnd(serialization::bytes_t& data, std::size_t expected) noexcept {
        const std::size_t size = 1 + (expected + 7) / 8;
        if (expected > kMax || data.size() < size) return result::kInvalidArgument;
        serialization::Reader reader(data.last(size));
        if (reader.Read<std::uint8_t>() != expected) return result::kInvalidArgument;
        std::uint64_t bits = 0;
        for (std::size_t i = 0; i < expected; i += 8) {
            bits |= std::uint64_t{reader.Read<std::uint8_t>()} << i;
        }
        if ((bits >> expected) != 0) return result::kInvalidArgument;
        flags_ = bits;
        count_ = expected;
        data = data.first(data.size() - size);
        return result::kOk;
    }

private:
    std::bitset<kMax> flags_;
    std::size_t count_ = 0;
};

}  // namespace vek::remoting
