// The client's side of the first call on a connection.

#include "vek/core/current_exception.h"
#include "vek/remoting/connection.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

result_t Connection::GetServiceLocatorHandle(stub_handle_t& handle) noexcept {
    handle = kNoHandle;
    try {
        return AskForServiceLocator(handle);
    } catch (...) {
        return CurrentExceptionResult();
    }
}

result_t Connection::AskForServiceLocator(stub_handle_t& handle) {
    const trace::TracerPtr& tracer = config_.tracer;
    serialization::Writer writer;
    SerializeFeatures(writer, config_.features);
    writer.Write(interface_id_t{IServiceLocator::kInterfaceId});
    Rope request;
    request.Append(writer.Pieces());
    Reply reply;
    const CallTarget target{kNoHandle, 0, service_call::kServiceLocator,
                            method_attribute::kReadsOnly};
    result_t result = SendReceive(target, request, reply);
    if (Failed(result)) {
        trace::Write(tracer, level::kError, "VEK remoting: ORPC Connection(", NameOf(this),
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
                     NameOf(this), "). Reply size = ", reply.data.size(),
                     ", prefix size = ", kFeatureListPrefixSize,
                     ", estimated data size = ", kFeatureListSize, ". Connection will be closed!");
        Close(result);
        return result;
    }
    result = SynchronizeWithPeerFeatures(peer);
    if (Failed(result)) {
        trace::Write(tracer, level::kError, "VEK remoting: ORPC Connection(", NameOf(this),
                     ") will be closed because the capabilitiesof this end are incompatible with "
                     "capabilities of the peer.");
        Close(result::kInvalidVersion);
        return result::kInvalidVersion;
    }
    handle = given;
    return result::kOk;
}

result_t Connection::GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept {
    stub_handle_t handle;
    result_t result = GetServiceLocatorHandle(handle);
    if (Failed(result)) return result;
    try {
        auto object = std::make_shared<StubReference>(Place{shared_from_this(), handle});
        result = registry_->CreateProxy(IServiceLocator::kInterfaceId, std::move(object),
                                        locator.put_void());
    } catch (...) {
        ReleaseProxy(handle);
        result = CurrentExceptionResult();
    }
    if (Failed(result)) {
        trace::Write(config_.tracer, level::kError,
                     "VEK remoting: GetServiceLocator: Cannot create a proxy for IServiceLocator, "
                     "err = ",
                     Hex(result));
    }
    return result;
}

}  // namespace vek::remoting
