#pragma once

// The system's events, with every failure raised as helpers::HResultCodeException.

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "internal/helpers/hresult_exception.h"
#include "vek/platform/system.h"

namespace plugins::mail_processing {

inline std::unique_ptr<vek::platform::Event> NewEvent(
    vek::platform::System& system, vek::platform::EventKind kind,
    vek::SourceLocation caller = vek::SourceLocation::Here()) {
    auto event = system.NewEvent(kind);
    if (event == nullptr) helpers::ThrowLastError(caller);
    return event;
}

inline void Signal(vek::platform::Event& event,
                   vek::SourceLocation caller = vek::SourceLocation::Here()) {
    const auto error = event.Set();
    if (error != vek::platform::system_error::kNone)
        helpers::ThrowHResult(helpers::HResultFromWin32(error), caller);
}

// The wait for a single event as it ended; `timeout` zero only looks.
inline vek::platform::WaitStatus WaitForOne(vek::platform::System& system,
                                            vek::platform::Event& event,
                                            std::chrono::milliseconds timeout) noexcept {
    const std::array<vek::platform::Event*, 1> one{&event};
    return system.WaitAny(one, timeout).status;
}

// The code of a wait for a single event that was neither signalled nor timed out; to be asked for
// right after the wait, before the thread's last error is
// another. An abandoned wait gives RPC_E_CHANGED_MODE.
inline helpers::hresult_t FailedWaitCode(vek::platform::WaitStatus status) noexcept {
    constexpr auto kChangedMode = static_cast<helpers::hresult_t>(0x80010106u);
    constexpr auto kFail = static_cast<helpers::hresult_t>(0x80004005u);
    if (status == vek::platform::WaitStatus::kAbandoned) return kChangedMode;
    const helpers::hresult_t code = helpers::HResultFromWin32(vek::platform::LastError());
    return code == 0 ? kFail : code;
}

// Waits, for ever, until one of the events is signalled, and gives the first such. The exception
// names the wait and its caller.
inline std::size_t WaitForSeveral(vek::platform::System& system,
                                  std::span<vek::platform::Event* const> events,
                                  vek::SourceLocation caller = vek::SourceLocation::Here()) {
    using vek::platform::WaitStatus;
    constexpr vek::platform::system_error_t kAbandonedWait = 735;  // ERROR_ABANDONED_WAIT_0
    const auto wait = system.WaitAny(events, vek::platform::kInfinite);
    if (wait.status == WaitStatus::kSignalled) return wait.index;
    const auto error =
        wait.status == WaitStatus::kAbandoned ? kAbandonedWait : vek::platform::LastError();
    throw helpers::HResultCodeException(caller, helpers::HResultFromWin32(error),
                                        vek::wide_string_t(u"WaitForMultipleObjects"));
}

}  // namespace plugins::mail_processing
