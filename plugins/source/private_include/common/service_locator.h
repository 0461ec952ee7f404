#pragma once

// How the plug-in reaches the product's services.

#include "vek/core/object.h"
#include "vek/core/service_locator.h"

namespace plugins {

using vek::IServiceLocator;

// Connects the module to the product; one for a process. Free-threaded.
struct ILoader : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x1B7E03D5;

    // On success `*object` implements `id` (the service locator) and has a reference.
    virtual vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept = 0;

protected:
    ~ILoader() = default;
};

}  // namespace plugins
