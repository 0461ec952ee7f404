#pragma once

#include <cstdint>

#include "vek/core/object.h"

namespace plugins::product {

// The product's settings-window service.
struct ISettingsWindow : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x837C94F2;

    // Opens the product's settings for the user of the process `process_id`, the caller's, and
    // returns without waiting until they are closed. May be called from any thread; returns a
    // result code and never raises.
    virtual vek::result_t Open(std::uint32_t process_id) noexcept = 0;

protected:
    ~ISettingsWindow() = default;
};

}  // namespace plugins::product
