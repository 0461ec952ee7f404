#include "vek/remoting/incoming_processor.h"

#include "vek/core/current_exception.h"
#include "vek/remoting/call_frame.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/special_methods.h"
#include "vek/trace/line.h"

namespace vek::remoting {

namespace level = trace::level;

void IncomingProcessor::Process(remote::RpcProtocolProcessorIn& request,
                                remote::ReplySender& sender) noexcept {
    ++requests_served_;
    const ReceivedHandles handles(request);
    CallFrame frame(connection_.releases(), request.call_id());
    ReplyPort reply(connection_, frame, request, sender);
    serialization::Reader reader(request.GetCallData());
    const RequestHeader header = ReadRequestHeader(reader);
    if (Failed(reader.result())) {
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting, InvokeAbstractedMethod6: cannot process incoming packet");
        return reply.Refuse(result::kInvalidSize);
    }
    if (const result_t released = Release(header.released); Failed(released)) {
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting: a request cannot let go as many handles as ",
                     header.released.size());
        return reply.Refuse(released);
    }
    try {
        Route(header.target, reader.ReadBytes(reader.left()), reply);
    } catch (...) {
        trace::WriteCurrentException(connection_.tracer(),
                                     "VEK remoting: a request could not be served. ");
        reply.Refuse(CurrentExceptionResult());
    }
}

result_t IncomingProcessor::Release(const ReleasedList& released) noexcept {
    if (released.size() == 0) return result::kOk;
    if (!connection_.registry().synchronized()) return result::kNotInitialized;
    return connection_.registry().ReleaseStubs(released);
}

void IncomingProcessor::Route(const CallTarget& target, bytes_t data, ReplyPort& reply) {
    if (target.handle == kNoHandle) {
        return service_calls_.SendReceiveStub(target.method_id, data, reply);
    }
    if (!connection_.registry().synchronized()) {
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting: a call came before the protocol features were agreed", target);
        return reply.Refuse(result::kNotInitialized);
    }
    RouteToStub(target, data, reply);
}

void IncomingProcessor::RouteToStub(const CallTarget& target, bytes_t data, ReplyPort& reply) {
    if (target.method_id == method_id::kRelease) {
        if (!connection_.registry().ReleaseStub(target.handle)) {
            trace::Write(connection_.tracer(), level::kError,
                         "VEK remoting: a request names no object of this end", target);
            return reply.Refuse(result::kInvalidArgument);
        }
        Rope none;
        static_cast<void>(reply.Send(none));
        return;
    }

    const std::shared_ptr<const Stub> stub =
        IsStubHandle(target.handle) ? connection_.registry().FindStub(target.handle) : nullptr;
    const Invocation invocation(connection_, target, data, reply);
    if (target.method_id >= method_id::kFirstSpecial) {
        return InvokeSpecialMethod4(stub ? stub->object.get() : nullptr, invocation);
    }
    if (!stub || target.interface_id != stub->factory->interface_id) {
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting: a request names no object of this end", target);
        return reply.Refuse(result::kInvalidArgument);
    }
    const auto methods = stub->factory->methods;
    const std::size_t index = std::size_t{target.method_id} - method_id::kFirstOwn;
    if (target.method_id < method_id::kFirstOwn || index >= methods.size()) {
        trace::Write(connection_.tracer(), level::kError, "VEK remoting: Unknown method id",
                     target);
        return reply.Refuse(result::kMethodNotFound);
    }
    if (target.attributes != methods[index].attributes) {
        trace::Write(connection_.tracer(), level::kError,
                     "VEK remoting: the ends differ on the attributes of ", methods[index].name,
                     target);
        return reply.Refuse(result::kInvalidArgument);
    }
    methods[index].invoke(*stub->object, invocation);
}

}  // namespace vek::remoting
