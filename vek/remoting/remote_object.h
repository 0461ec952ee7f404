#pragma once

#include <memory>

#include "vek/core/result.h"
#include "vek/remoting/stub_handle.h"

namespace vek::remoting {

class Connection;

// Names one stub of one peer: where a call goes.
struct StubAddress {
    std::shared_ptr<Connection> connection;
    stub_handle_t handle = kNoHandle;  // as the proxy knows it
};

// The object behind a proxy. Operations may be called from any thread.
class RemoteObject {
public:
    virtual ~RemoteObject() = default;

    // Gives the stub that stands for the object now; a failing code when there is none.
    virtual result_t Resolve(StubAddress& address) noexcept = 0;

    // Called when a call to `address` certainly never reached the peer. True when the caller should
    // resolve the object anew and call once more.
    virtual bool Recover(const StubAddress& address) noexcept = 0;
};

}  // namespace vek::remoting
