#include "vek/core/ref_ptr.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/marshalling.h"
#include "vek/remoting/special_methods.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Hex;
namespace level = trace::level;

namespace {

// Queries the object and makes a stub of the interface that it gives.
result_t Query(IObject& object, interface_id_t id, Connection& connection, OutgoingHandle& handle) {
    RefPtr<IObject> found;
    result_t result = object.QueryInterface(id, found.put_void());
    if (Failed(result) || !found) {
        if (Succeeded(result)) result = result::kInterfaceNotSupported;
        trace::Write(connection.tracer(), level::kRemoting,
                     "VEK remoting, InvokeSpecialMethod4: QueryInterface(", Hex(id),
                     ") failed with errCode = ", Hex(result));
        return result;
    }
    result = handle.MakeStub(id, found.get());
    if (Failed(result)) {
        trace::Write(connection.tracer(), level::kError,
                     "VEK remoting, InvokeSpecialMethod4: Cannot create stub handle for the "
                     "requested interface ",
                     Hex(id), ", errCode = ", Hex(result));
    }
    return result;
}

void InvokeQuery(IObject& object, const Invocation& invocation) {
    Connection& connection = invocation.connection();
    serialization::Reader reader(invocation.data());
    const auto id = reader.Read<interface_id_t>();
    if (Failed(reader.result())) {
        trace::Write(connection.tracer(), level::kError,
                     "VEK remoting, InvokeSpecialMethod4: invalid size of request data = ",
                     invocation.data().size());
        return invocation.reply().Refuse(result::kInvalidSize);
    }

    OutgoingHandle handle(connection.registry());
    const result_t answer = Query(object, id, connection, handle);

    serialization::Writer writer(kRoomForHeads);
    writer.Write(answer);
    writer.Write(handle.get());
    Rope rope;
    rope.Append(writer);
    if (Succeeded(invocation.reply().Send(rope))) handle.MarkDelivered();
}

}  // namespace

void InvokeSpecialMethod4(IObject* object, const Invocation& invocation) {
    if (object == nullptr) {
        trace::Write(invocation.connection().tracer(), level::kError,
                     "VEK remoting: a request names no object of this end", invocation.target());
        return invocation.reply().Refuse(result::kInvalidArgument);
    }
    if (invocation.target().method_id == method_id::kQueryInterface) {
        return InvokeQuery(*object, invocation);
    }
    trace::Write(invocation.connection().tracer(), level::kError,
                 "VEK remoting, InvokeSpecialMethod4: Unknown method id",
                 ". methodId = ", invocation.target().method_id,
                 ", interface = ", Hex(invocation.target().interface_id));
    invocation.reply().Refuse(result::kMethodNotFound);
}

}  // namespace vek::remoting
