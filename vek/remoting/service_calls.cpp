#include "vek/remoting/service_calls.h"

#include "vek/remoting/connection.h"
#include "vek/remoting/marshalling.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

// Makes the stub by which the peer reaches this end's services.
result_t ServiceCalls::CreateServiceLocatorStub(OutgoingHandle& handle) {
    const trace::TracerPtr& tracer = connection_.tracer();
    MasterLock& lock = connection_.master_lock();
    if (lock.master() == nullptr) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Server failed to get its service locator. err = ",
                     Hex(result::kNotFound));
        return result::kNotFound;
    }
    result_t result = lock.Lock();
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: LockMasterObject failed in CreateServiceLocatorStub with "
                     "err = ",
                     Hex(result));
        return result;
    }
    RefPtr<IServiceLocator> locator;
    result = lock.master()->GetServiceLocator(locator);
    if (Succeeded(result) && !locator) result = result::kNotFound;
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Server failed to get its service locator. err = ", Hex(result));
        return result;
    }
    return handle.MakeStub(IServiceLocator::kInterfaceId, locator.get());
}

// Reads the peer's request and agrees the features. A failure has refused the request.
result_t ServiceCalls::AgreeFeatures(bytes_t data, ReplyPort& reply) {
    const trace::TracerPtr& tracer = connection_.tracer();
    serialization::Reader reader(data);
    ProtocolFeatures peer;
    DeserializeFeatures(reader, peer);
    const auto wanted = reader.Read<interface_id_t>();
    if (Failed(reader.result())) {
        trace::Write(tracer, level::kError, "VEK remoting: SendReceiveStub(", NameOf(&connection_),
                     ") cannot deserialize a feature list received from the peer. Bytes received "
                     "= ",
                     data.size());
        reply.Refuse(reader.result());
        return reader.result();
    }
    trace::Write(tracer, level::kRemotingDetail, "VEK remoting: SendReceiveStub(",
                 NameOf(&connection_),
                 ") has received a protocol feature list from the peer. Peer features = ", peer);

    const result_t agreed = connection_.features().SynchronizeWithPeerFeatures(peer);
    if (++locator_requests_ > 1) {
        trace::Write(tracer, level::kRemotingDetail, "VEK remoting: SendReceiveStub(",
                     NameOf(&connection_),
                     ") has received more than one extended request for feature synchronization. "
                     "Probably, some harmless races on the other side of the connection.");
    }
    if (agreed == result::kInvalidVersion) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Incoming new request to SendReceiveStub(", NameOf(&connection_),
                     ") for a service locator came from an incompatible peer. Connection will be "
                     "closed.");
        reply.Refuse(result::kInvalidVersion);
        connection_.Close(result::kInvalidVersion);
        return agreed;
    }
    const result_t result = Succeeded(agreed) && wanted != IServiceLocator::kInterfaceId
                                ? result::kInterfaceNotSupported
                                : agreed;
    if (Failed(result)) reply.Refuse(result);
    return result;
}

void ServiceCalls::ServeServiceLocator(bytes_t data, ReplyPort& reply) {
    const trace::TracerPtr& tracer = connection_.tracer();
    if (Failed(AgreeFeatures(data, reply))) return;

    serialization::Writer writer(kRoomForHeads);
    try {
        SerializeFeatures(writer, connection_.config().features);
    } catch (...) {
        trace::Write(tracer, level::kError, "VEK remoting: Internal coding error. SendReceiveStub(",
                     NameOf(&connection_),
                     ") failed to serialize desired protocol features. "
                     "Features = ",
                     connection_.config().features,
                     ", buffer capacity = ", kFeatureListPrefixSize + kFeatureListSize);
        throw;
    }
    OutgoingHandle handle(connection_.registry());
    const result_t result = CreateServiceLocatorStub(handle);
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: CreateStub failed for IServiceLocator in SendReceiveStub(",
                     NameOf(&connection_), ") with err = ", Hex(result));
        return reply.Refuse(result);
    }
    writer.Write(handle.get());
    Rope rope;
    rope.Append(writer);
    if (Failed(reply.Send(rope))) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: cannot place GetLocator response into reply packet");
        return;
    }
    handle.MarkDelivered();
}

void ServiceCalls::SendReceiveStub(method_id_t call_id, bytes_t data, ReplyPort& reply) {
    switch (call_id) {
        case service_call::kServiceLocator:
            return ServeServiceLocator(data, reply);
        case service_call::kOldServiceLocator:
            trace::Write(connection_.tracer(), level::kError,
                         "VEK remoting: Incoming old request to SendReceiveStub(",
                         NameOf(&connection_),
                         ") for a service locator came from an incompatible old peer. Connection "
                         "will be closed.");
            reply.Refuse(result::kInvalidVersion);
            return connection_.Close(result::kInvalidVersion);
        default:
            trace::Write(connection_.tracer(), level::kError,
                         "VEK remoting: Unknown service call id = ", call_id);
            return reply.Refuse(result::kMethodNotFound);
    }
}

}  // namespace vek::remoting
