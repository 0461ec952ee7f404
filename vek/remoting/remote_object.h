#pragma once

#include <memory>

#include "vek/core/result.h"
#include "vek/remoting/stub_handle.h"

namespace vek::remoting {

class Connection;

// Where a call goes: a stub of the process at the other end.
struct Place {
    std::shared_ptr<Connection> connection;
    stub_handle_t handle = kNoHandle;  // as the proxy knows it
};

// The object behind a proxy. Operations may be called from any thread.
class RemoteObject {
public:
    virtual ~RemoteObject() = default;

    // Where the object is now; a failing code when it cannot be reached.
    virtual result_t Reach(Place& place) noexcept = 0;

    // Told that the end at `place` was lost before a call arrived there. Whether to reach again.
    virtual bool Recover(const Place& place) noexcept = 0;
};

// A stub of one connection, released with this reference.
class StubReference final : public RemoteObject {
public:
    explicit StubReference(Place place) noexcept : place_(std::move(place)) {}
    ~StubReference() override;
    StubReference(const StubReference&) = delete;
    StubReference& operator=(const StubReference&) = delete;

    result_t Reach(Place& place) noexcept override {
        place = place_;
        return result::kOk;
    }
    bool Recover(const Place&) noexcept override { return false; }

private:
    const Place place_;
};

}  // namespace vek::remoting
