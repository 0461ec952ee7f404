#include <algorithm>

#include "vek/core/border.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/local_interfaces.h"
#include "vek/remoting/marshalling.h"
#include "vek/remoting/special_methods.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

result_t QueryPeer(const StubAddress& address, interface_id_t own_id, interface_id_t id,
                   void** out) {
    Connection& connection = *address.connection;
    const trace::TracerPtr& tracer = connection.tracer();

    serialization::Writer writer(kRoomForHeads);
    writer.Write(id);
    Rope request;
    request.Append(writer);
    Reply reply;
    const CallTarget target{address.handle | kStubFlag, own_id, method_id::kQueryInterface,
                            method_attribute::kNone};
    result_t result = connection.sender().SendReceive(target, request, reply);
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting, InternalQueryInterface: Cannot send a request to remote party, "
                     "errCode = ",
                     Hex(result), ", handle = ", address.handle, ", queried interface = ", Hex(id));
        return Facility(result) == facility::kRemoting ? result : result::kRemoteCallFailed;
    }

    if (!reply.has_data || reply.data.size() > kQueryReplySize) {
        trace::Write(tracer, level::kError,
                     "VEK remoting, InternalQueryInterface: cannot process reply");
        return result::kInvalidSize;
    }
    if (reply.data.size() < kQueryReplySize) {
        trace::Write(tracer, level::kError,
                     "VEK remoting, InternalQueryInterface: QueryInterface reply is too short: ",
                     reply.data.size(), " of ", kQueryReplySize, " expected bytes.");
        return result::kInvalidSize;
    }
    serialization::Reader reader(reply.data);
    result = reader.Read<result_t>();
    const auto handle = reader.Read<stub_handle_t>();
    if (Failed(result)) {
        if (result != result::kNotFound) {
            trace::Write(tracer, level::kError,
                         "VEK remoting, InternalQueryInterface: QueryInterface failed on remote "
                         "side, errCode = ",
                         Hex(result));
        }
        return result;
    }

    IncomingHandle given(connection);
    given.Set(handle);
    result = handle == kNoHandle || IsStubHandle(handle) ? result::kInvalidHandle
                                                         : Demarshal(connection, id, given, out);
    if (Failed(result)) {
        trace::Write(tracer, level::kError,
                     "VEK remoting, InternalQueryInterface: Cannot create a proxy for a queried "
                     "interface, errCode = ",
                     Hex(result), ", handle = ", address.handle, ", queried interface = ", Hex(id),
                     ", facet handle = ", handle);
    }
    return result;
}

}  // namespace

result_t InternalQueryInterface(const StubAddress& address, interface_id_t own_id,
                                interface_id_t id, void** out) noexcept {
    *out = nullptr;
    if (std::ranges::find(kLocalInterfaces, id) != kLocalInterfaces.end()) {
        return result::kNotSupported;
    }
    return AtBorder([&] { return QueryPeer(address, own_id, id, out); });
}

}  // namespace vek::remoting
