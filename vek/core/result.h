#pragma once

// Result codes: what every framework operation that can fail returns.
//
// Bit 31 is the failure bit, bits 16 to 30 the facility, bits 0 to 15 the code within it. The
// numbers cross the process border unchanged, so they are a contract with the product.

#include <cstdint>

namespace vek {

using result_t = std::uint32_t;

constexpr bool Failed(result_t code) noexcept { return (code & 0x80000000u) != 0; }
constexpr bool Succeeded(result_t code) noexcept { return !Failed(code); }

constexpr std::uint32_t Facility(result_t code) noexcept { return (code >> 16) & 0x7FFFu; }

namespace facility {
inline constexpr std::uint32_t kGeneral = 0x0000;
inline constexpr std::uint32_t kPlatform = 0x0001;
inline constexpr std::uint32_t kRemoting = 0x0002;
inline constexpr std::uint32_t kTaskManager = 0x2641;
inline constexpr std::uint32_t kTaskScheduler = 0x2642;
inline constexpr std::uint32_t kSettingsStorage = 0x2643;
inline constexpr std::uint32_t kServiceManager = 0x2644;
inline constexpr std::uint32_t kLoader = 0x2646;
}  // namespace facility

namespace result {
inline constexpr result_t kOk = 0x00000000;
inline constexpr result_t kFalse = 0x00000001;
inline constexpr result_t kInterfaceNotSupported = 0x80000001;
inline constexpr result_t kUnexpected = 0x80000040;
inline constexpr result_t kOutOfMemory = 0x80000041;
inline constexpr result_t kNotSupported = 0x80000042;
inline constexpr result_t kNotImplemented = 0x80000043;
inline constexpr result_t kBufferTooSmall = 0x80000044;
inline constexpr result_t kAccessDenied = 0x80000045;
inline constexpr result_t kInvalidArgument = 0x80000046;
inline constexpr result_t kUnspecifiedError = 0x8000004B;
inline constexpr result_t kNotFound = 0x8000004C;
inline constexpr result_t kMethodNotFound = 0x80000057;
inline constexpr result_t kInvalidSignature = 0x8000005A;
inline constexpr result_t kInvalidVersion = 0x8000005B;
inline constexpr result_t kInvalidSize = 0x8000005C;
inline constexpr result_t kInvalidType = 0x8000005D;
inline constexpr result_t kNotReady = 0x80000063;
inline constexpr result_t kNotInitialized = 0x8000006B;
inline constexpr result_t kInsufficientResources = 0x8000006C;
inline constexpr result_t kUnknownException = 0x80000072;
inline constexpr result_t kPropertyNotFound = 0x80000180;
inline constexpr result_t kPlatformError = 0x80010100;
inline constexpr result_t kInvalidHandle = 0x80010101;
inline constexpr result_t kFileNotFound = 0x80010102;
inline constexpr result_t kSymbolNotFound = 0x80010107;
inline constexpr result_t kModuleNotFound = 0x80010112;
// A call that did not come back from the other process.
inline constexpr result_t kRemoteCallFailed = 0x80020224;
}  // namespace result

}  // namespace vek
