#pragma once

#include "vek/core/object.h"

namespace vek {

// Gives a process's services by the id of their interface. Any thread may call it.
struct IServiceLocator : IObject {
    static constexpr interface_id_t kInterfaceId = 0x68E33FCA;

    // `reserved` is null. On success `*service` implements `id` and has a reference.
    virtual result_t GetInterface(interface_id_t id, const void* reserved,
                                  void** service) noexcept = 0;

protected:
    ~IServiceLocator() = default;
};

}  // namespace vek
