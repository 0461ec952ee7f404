#pragma once

// The exception with which the plug-in's code that faces COM and MAPI reports a failed call. It
// carries the call's HRESULT and the source location that raised it.
//
// All functions may be called from any thread.

#include <cstdint>
#include <utility>

#include "vek/core/exception.h"
#include "vek/core/throw.h"
#include "vek/platform/system_error.h"

namespace plugins::helpers {

// Windows' HRESULT, which is a long there. Negative is failure.
using hresult_t = std::int32_t;

// A COM or MAPI call failed.
class HResultCodeException : public vek::ExceptionBase<HResultCodeException, vek::Exception>,
                             public vek::CodeCarrier {
public:
    static constexpr const char* kClassName = "HResultCodeException";

    HResultCodeException(vek::SourceLocation location, hresult_t hr,
                         vek::wide_string_t message = {}) noexcept
        : ExceptionBase(location, std::move(message)), hr_(hr) {}
    HResultCodeException(const char* file, std::uint32_t line, hresult_t hr) noexcept
        : HResultCodeException(vek::SourceLocation{file, line}, hr) {}

    // The message, the HRESULT and the description in the calling thread's error information,
    // which is taken: a second call is without it.
    vek::wide_string_t Description() const override;

    hresult_t hresult() const noexcept { return hr_; }
    std::uint32_t code() const noexcept override { return static_cast<std::uint32_t>(hr_); }

private:
    hresult_t hr_;
};

// The HRESULT of a system error: zero is S_OK, what is an HRESULT already is kept, and anything
// else becomes a failure of FACILITY_WIN32 (Microsoft's "HRESULT_FROM_WIN32").
constexpr hresult_t HResultFromWin32(vek::platform::system_error_t error) noexcept {
    constexpr std::uint32_t kFailure = 0x80000000u;
    constexpr std::uint32_t kFacilityWin32 = 7u << 16;
    if (error == 0 || (error & kFailure) != 0) return static_cast<hresult_t>(error);
    return static_cast<hresult_t>(kFailure | kFacilityWin32 | (error & 0xFFFFu));
}

// Raises HResultCodeException with `hr`.
[[noreturn]] void ThrowHResult(hresult_t hr,
                               vek::SourceLocation location = vek::SourceLocation::Here());

// Raises HResultCodeException with the calling thread's last system error, or with E_FAIL when
// none is set: a caller that has seen a failure must never report success.
[[noreturn]] void ThrowLastError(vek::SourceLocation location = vek::SourceLocation::Here());

// Raises HResultCodeException when `hr` is a failure. Success codes other than S_OK pass.
inline void CheckHResult(hresult_t hr, vek::SourceLocation location = vek::SourceLocation::Here()) {
    if (hr < 0) [[unlikely]]
        ThrowHResult(hr, location);
}

// Checks a call that gives an object. A call that reports success and gives no object raises
// vek::ResultCodeException kUnexpected.
template <class Pointer>
void CheckGiven(hresult_t hr, const Pointer& object,
                vek::SourceLocation location = vek::SourceLocation::Here()) {
    CheckHResult(hr, location);
    if (!object) [[unlikely]]
        vek::ThrowResult(vek::result::kUnexpected, location);
}

}  // namespace plugins::helpers
