#pragma once

// The fixed parts of a frame. Both ends are on one machine and share its byte order.

#include <sys/socket.h>

#include <cstdint>

#include "remote/socket/frame_posix.h"

namespace remote {

struct FrameHead {
    std::uint32_t size;
    FrameKind kind;
    std::uint16_t zero;
};
static_assert(sizeof(FrameHead) == kFrameHeadSize);

// Tells a peer that speaks this from another by its first bytes.
inline constexpr std::uint32_t kVerdictSignature = 0x314C4D56;

struct Verdict {
    std::uint32_t signature;
    vek::result_t result;
};
static_assert(sizeof(Verdict) == kVerdictSize);

// The kernel takes no more descriptors with one message (SCM_MAX_FD of its net/scm.h).
inline constexpr std::size_t kMaxDescriptors = 253;

inline constexpr std::size_t kControlSize = CMSG_SPACE(sizeof(int) * kMaxDescriptors);

}  // namespace remote
