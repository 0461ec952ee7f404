#include "vek/remoting/service_calls.h"

#include "vek/remoting/connection.h"
#include "vek/remoting/marshalling.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

// Makes the stub by which the peer reaches this end's services.
result_t CreateServiceLocatorStub(Connection& connection, OutgoingHandle& handle) {
    const trace::TracerPtr& tracer = connection.tracer();
    if (!connection.config().master) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Server failed to get its service locator. err = ",
                     Hex(result::kNotFound));
        return result::kNotFound;
    }
    result_t result = connection.LockMasterObject();
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: LockMasterObject failed in CreateServiceLocatorStub with "
                     "err = ",
                     Hex(result));
        return result;
    }
    RefPtr<IServiceLocator> locator;
    result = connection.config().master->GetServiceLocator(locator);
    if (Succeeded(result) && !locator) result = result::kNotFound;
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Server failed to get its service locator. err = ", Hex(result));
        return result;
    }
    result = handle.MakeStub(IServiceLocator::kInterfaceId, locator.get());
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: CreateStub failed for IServiceLocator in SendReceiveStub(",
                     NameOf(&connection), ") with err = ", Hex(result));
    }
    return result;
}

void ServeServiceLocator(Connection& connection, bytes_t data, ReplyPort& reply) {
    const trace::TracerPtr& tracer = connection.tracer();
    serialization::Reader reader(data);
    ProtocolFeatures peer;
    DeserializeFeatures(reader, peer);
    const auto wanted = reader.Read<interface_id_t>();
    if (Failed(reader.result())) {
        trace::Write(tracer, level::kError, "VEK remoting: SendReceiveStub(", NameOf(&connection),
                     ") cannot deserialize a feature list received from the peer. Bytes received "
                     "= ",
                     data.size());
        return reply.Refuse(reader.result());
    }
    trace::Write(tracer, level::kRemotingDetail, "VEK remoting: SendReceiveStub(",
                 NameOf(&connection),
                 ") has received a protocol feature list from the peer. Peer features = ", peer);

    const result_t agreed = connection.SynchronizeWithPeerFeatures(peer);
    if (connection.CountLocatorRequest() > 1) {
        trace::Write(tracer, level::kRemotingDetail, "VEK remoting: SendReceiveStub(",
                     NameOf(&connection),
                     ") has received more than one extended request for feature synchronization. "
                     "Probably, some harmless races on the other side of the connection.");
    }
    if (Failed(agreed)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Incoming new request to SendReceiveStub(", NameOf(&connection),
                     ") for a service locator came from an incompatible peer. Connection will be "
                     "closed.");
        reply.Refuse(result::kInvalidVersion);
        return connection.Close(result::kInvalidVersion);
    }
    if (wanted != IServiceLocator::kInterfaceId) {
        return reply.Refuse(result::kInterfaceNotSupported);
    }

    serialization::Writer writer;
    try {
        SerializeFeatures(writer, connection.config().features);
    } catch (...) {
        trace::Write(tracer, level::kError, "VEK remoting: Internal coding error. SendReceiveStub(",
                     NameOf(&connection),
                     ") failed to serialize desired protocol features. "
                     "Features = ",
                     connection.config().features,
                     ", buffer capacity = ", kFeatureListPrefixSize + kFeatureListSize);
        throw;
    }
    OutgoingHandle handle(connection.registry());
    const result_t result = CreateServiceLocatorStub(connection, handle);
    if (Failed(result)) return reply.Refuse(result);
    writer.Write(handle.get());
    Rope rope;
    rope.Append(writer.Pieces());
    if (Failed(reply.Send(rope))) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: cannot place GetLocator response into reply packet");
        return;
    }
    handle.Arrived();
}

}  // namespace

void SendReceiveStub(Connection& connection, method_id_t call_id, bytes_t data, ReplyPort& reply) {
    switch (call_id) {
        case service_call::kServiceLocator:
            return ServeServiceLocator(connection, data, reply);
        case service_call::kOldServiceLocator:
            trace::Write(connection.tracer(), level::kError,
                         "VEK remoting: Incoming old request to SendReceiveStub(",
                         NameOf(&connection),
                         ") for a service locator came from an incompatible old peer. Connection "
                         "will be closed.");
            reply.Refuse(result::kInvalidVersion);
            return connection.Close(result::kInvalidVersion);
        default:
            trace::Write(connection.tracer(), level::kError,
                         "VEK remoting: Unknown service call id = ", call_id);
            return reply.Refuse(result::kMethodNotFound);
    }
}

}  // namespace vek::remoting
