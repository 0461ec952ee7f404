#include "vek/remoting/marshalling.h"

#include "vek/core/border.h"
#include "vek/remoting/local_interfaces.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

// The peer's own handle of what `object` stands for, when it is a proxy of this connection.
stub_handle_t PeersHandle(const Connection& connection, IObject* object) noexcept {
    RefPtr<IProxy> proxy;
    if (Failed(object->QueryInterface(IProxy::kInterfaceId, proxy.put_void()))) return kNoHandle;
    StubAddress address;
    if (Failed(proxy->Resolve(address)) || address.connection.get() != &connection)
        return kNoHandle;
    return address.handle;
}

}  // namespace

result_t Marshal(Connection& connection, interface_id_t id, IObject* object,
                 OutgoingHandle& handle) noexcept {
    if (object == nullptr) return result::kOk;
    if (connection.registry().eliminates_proxy_loops()) {
        if (const stub_handle_t known = PeersHandle(connection, object)) {
            handle.Return(known);
            return result::kOk;
        }
    }
    const result_t result = handle.MakeStub(id, object);
    if (Failed(result)) {
        trace::Write(connection.tracer(), level::kError,
                     "VEK_remoting: Unable to marshal an object @",
                     Hex(reinterpret_cast<std::uintptr_t>(object)), " with iid", Hex(id));
    }
    return result;
}

result_t Demarshal(Connection& connection, interface_id_t id, IncomingHandle& handle,
                   void** object) noexcept {
    *object = nullptr;
    const stub_handle_t value = handle.get();
    if (value == kNoHandle) return result::kOk;
    if (IsStubHandle(value)) {
        const auto stub = connection.registry().eliminates_proxy_loops()
                              ? connection.registry().FindStub(value)
                              : nullptr;
        if (stub) return stub->object->QueryInterface(id, object);
    }

    result_t result = result::kInvalidHandle;
    if ((value & kReservedBits & ~kObjectFlag) == 0) {
        result = AtBorder([&] {
            auto reference =
                std::make_shared<StubReference>(StubAddress{connection.shared_from_this(), value});
            handle.Take();
            return connection.registry().CreateProxy(id, std::move(reference), object);
        });
    }
    if (Failed(result)) {
        trace::Write(connection.tracer(), level::kError,
                     "VEK remoting: Unable to create a proxy object with iid", Hex(id),
                     " for handle", Hex(value));
    }
    return result;
}

}  // namespace vek::remoting
