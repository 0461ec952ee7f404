#pragma once

#include <cstdint>

#include "vek/platform/system_error.h"

namespace plugins::mail_processing {

// The HRESULT that an abandoned wait for a single object is reported with (RPC_E_CHANGED_MODE of
// winerror.h).
inline constexpr std::int32_t kSingleWaitAbandoned = static_cast<std::int32_t>(0x80010106u);

// The error that an abandoned wait for several is (ERROR_ABANDONED_WAIT_0 of winerror.h).
inline constexpr vek::platform::system_error_t kAbandonedWait = 735;

}  // namespace plugins::mail_processing
