#pragma once

#include <atomic>
#include <cstdint>

namespace vek::remoting {

// Names an interface of an object for one connection.
//
//     bits 0 to 59   a number, never used again while the connection lives
//     bits 60, 61    zero
//     bit 62         it stands for an object
//     bit 63         it is a stub of the end that is asked
//
// The end that has the object records its stub with bit 63 and hands it out without: that is the
// proxy's handle. A request, and a handle that comes back, have the bit again.
using stub_handle_t = std::uint64_t;

inline constexpr stub_handle_t kNoHandle = 0;
inline constexpr stub_handle_t kObjectFlag = stub_handle_t{1} << 62;
inline constexpr stub_handle_t kStubFlag = stub_handle_t{1} << 63;
inline constexpr std::uint64_t kReservedBits = std::uint64_t{0xF} << 60;

constexpr bool IsStubHandle(stub_handle_t handle) noexcept { return (handle & kStubFlag) != 0; }

// Gives the numbers of handles. A seam; any thread may call it.
class SequenceGenerator {
public:
    virtual ~SequenceGenerator() = default;
    // Never a number twice, never 0, none with one of kReservedBits set.
    virtual std::uint64_t Next() noexcept = 0;
};

class CountingGenerator final : public SequenceGenerator {
public:
    std::uint64_t Next() noexcept override {
        return last_.fetch_add(1, std::memory_order_relaxed) + 1;
    }

private:
    std::atomic<std::uint64_t> last_{0};
};

}  // namespace vek::remoting
