#pragma once

// How an interface pointer becomes a handle and back.

#include "vek/core/object.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// A handle on its way to the peer. A stub that was made for it is released again unless it arrived.
class OutgoingHandle {
public:
    explicit OutgoingHandle(StubRegistry& registry) noexcept : registry_(registry) {}
    ~OutgoingHandle() {
        if (made_stub_) registry_.ReleaseStub(handle_);
    }
    OutgoingHandle(const OutgoingHandle&) = delete;
    OutgoingHandle& operator=(const OutgoingHandle&) = delete;

    // Makes a stub of `object`, which is the interface `id`.
    result_t MakeStub(interface_id_t id, IObject* object) noexcept {
        const result_t result = registry_.CreateStub(id, object, handle_);
        made_stub_ = Succeeded(result);
        return result;
    }
    // Names a stub of the peer's.
    void Return(stub_handle_t handle) noexcept { handle_ = handle | kStubFlag; }

    void MarkDelivered() noexcept { made_stub_ = false; }
    stub_handle_t get() const noexcept { return handle_; }

private:
    StubRegistry& registry_;
    stub_handle_t handle_ = kNoHandle;
    bool made_stub_ = false;
};

// A handle that came from the peer. A stub of the peer's is given back unless a proxy has it.
class IncomingHandle {
public:
    explicit IncomingHandle(Connection& connection) noexcept : connection_(connection) {}
    ~IncomingHandle() {
        if (handle_ != kNoHandle && !IsStubHandle(handle_)) connection_.ReleaseProxy(handle_);
    }
    IncomingHandle(const IncomingHandle&) = delete;
    IncomingHandle& operator=(const IncomingHandle&) = delete;

    void Set(stub_handle_t handle) noexcept { handle_ = handle; }
    stub_handle_t get() const noexcept { return handle_; }
    stub_handle_t Take() noexcept { return std::exchange(handle_, kNoHandle); }

private:
    Connection& connection_;
    stub_handle_t handle_ = kNoHandle;
};

// The object behind an ordinary proxy: a stub of one connection, released with this reference.
class StubReference final : public RemoteObject {
public:
    explicit StubReference(StubAddress address) noexcept : address_(std::move(address)) {}
    ~StubReference() override { address_.connection->ReleaseProxy(address_.handle); }
    StubReference(const StubReference&) = delete;
    StubReference& operator=(const StubReference&) = delete;

    result_t Resolve(StubAddress& address) noexcept override {
        address = address_;
        return result::kOk;
    }
    bool Recover(const StubAddress&) noexcept override { return false; }

private:
    const StubAddress address_;
};

// Gives the peer a handle for `object`, which is the interface `id`; null gives no handle.
result_t Marshal(Connection& connection, interface_id_t id, IObject* object,
                 OutgoingHandle& handle) noexcept;

// Gives the object that `handle` names: a proxy for a stub of the peer's, the object itself for one
// of this end's. `*object` implements `id` and has a reference; null for no handle.
result_t Demarshal(Connection& connection, interface_id_t id, IncomingHandle& handle,
                   void** object) noexcept;

}  // namespace vek::remoting
