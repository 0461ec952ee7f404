#pragma once

#include "vek/core/object.h"

namespace plugins {

// Is told when what is imposed on the plug-ins' settings may have changed.
struct ISettingsListener : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x2F60C7B5;

    // Called on the watch thread, one call at a time, and must not wait for another thread. Twice
    // for one change is possible.
    virtual void OnSettingsChanged() noexcept = 0;

protected:
    ~ISettingsListener() = default;
};

// Follows the settings of the plug-ins. Any thread may call it; the codes are failing ones when
// the watch thread cannot be told.
struct ISettingsWatcher : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x9B1540DE;

    // Keeps `listener` until it leaves.
    virtual vek::result_t Subscribe(ISettingsListener* listener) noexcept = 0;
    // Waits for a call of the listener, but for the caller's own; there is none afterwards.
    virtual vek::result_t Unsubscribe(ISettingsListener* listener) noexcept = 0;

protected:
    ~ISettingsWatcher() = default;
};

}  // namespace plugins
