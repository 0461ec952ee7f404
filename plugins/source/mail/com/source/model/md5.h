#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace plugins::mail_processing {

// The MD5 digest (RFC 1321) of `bytes`. Good for telling messages apart, not for security.
std::array<std::byte, 16> Md5(std::span<const std::byte> bytes) noexcept;

}  // namespace plugins::mail_processing
