#pragma once

#include <array>

#include "vek/core/object.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// Interfaces that make sense in their own process alone: a proxy refuses to ask the peer for them.
inline constexpr std::array<interface_id_t, 6> kLocalInterfaces = {
    0x6EF3329B, 0x1EBC8213, 0x2F49A170, 0x3D9008F7, 0x7B28A942, 0x9CCA5603};

// Every proxy has this interface: it gives the stub behind the proxy.
struct IProxy : IObject {
    static constexpr interface_id_t kInterfaceId = 0x5E1D33C7;

    // Gives the stub that stands for the proxy's object now; a failing code when there is none.
    virtual result_t Resolve(StubAddress& address) noexcept = 0;

protected:
    ~IProxy() = default;
};

// An object that wants to marshal itself. It travels by reference as any other, but only over a
// connection whose handles say that they stand for objects.
struct ICustomMarshal : IObject {
    static constexpr interface_id_t kInterfaceId = 0x1EBC8213;

protected:
    ~ICustomMarshal() = default;
};

}  // namespace vek::remoting
