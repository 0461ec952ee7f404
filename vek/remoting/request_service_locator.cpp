// The client's side of the first call on a connection.

#include "vek/core/service_locator.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/service_calls.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

result_t RequestServiceLocator(Connection& connection, stub_handle_t& handle) {
    const trace::TracerPtr& tracer = connection.tracer();
    serialization::Writer writer(kRoomForHeads);
    SerializeFeatures(writer, connection.config().features);
    writer.Write(interface_id_t{IServiceLocator::kInterfaceId});
    Rope request;
    request.Append(writer);
    Reply reply;
    const CallTarget target{kNoHandle, 0, service_call::kServiceLocator, method_attribute::kNone};
    result_t result = connection.sender().SendReceive(target, request, reply);
    if (Failed(result)) {
        trace::Write(tracer, level::kError, "VEK remoting: ORPC Connection(", NameOf(&connection),
                     "). SendReceive failed when asking for protocol capabilities and service "
                     "locator. Maybe the other party is running an old version of VEK remoting? "
                     "err = ",
                     Hex(result));
        return result;
    }

    serialization::Reader reader(reply.data);
    ProtocolFeatures peer;
    DeserializeFeatures(reader, peer);
    const auto given = reader.Read<stub_handle_t>();
    result = reader.result();
    if (Succeeded(result) && (given == kNoHandle || IsStubHandle(given))) {
        result = result::kInvalidHandle;
    }
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting: Deserialization of protocol capability list failed for ORPC "
                     "Connection(",
                     NameOf(&connection), "). Reply size = ", reply.data.size(),
                     ", prefix size = ", kFeatureListPrefixSize,
                     ", estimated data size = ", kFeatureListSize, ". Connection will be closed!");
        connection.Close(result);
        return result;
    }
    result = connection.features().SynchronizeWithPeerFeatures(peer);
    if (result == result::kInvalidVersion) {
        trace::Write(tracer, level::kError, "VEK remoting: ORPC Connection(", NameOf(&connection),
                     ") will be closed because the capabilitiesof this end are incompatible with "
                     "capabilities of the peer.");
        connection.Close(result);
    }
    if (Succeeded(result)) handle = given;
    return result;
}

}  // namespace vek::remoting
