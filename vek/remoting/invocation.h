#pragma once

#include "remote/transport.h"
#include "vek/remoting/call.h"
#include "vek/remoting/call_frame.h"
#include "vek/remoting/rope.h"

namespace vek::remoting {

class Connection;

// Answers one request, once. The destructor refuses a request that was not answered.
class ReplyPort {
public:
    // All of them must outlive the port.
    ReplyPort(Connection& connection, CallFrame& frame,
              const remote::RpcProtocolProcessorIn& request, remote::ReplySender& sender) noexcept;
    ~ReplyPort();
    ReplyPort(const ReplyPort&) = delete;
    ReplyPort& operator=(const ReplyPort&) = delete;

    // Sends the nodes of `data`, which must stay meanwhile.
    result_t Send(Rope& data) noexcept;
    // Says that the request could not be served.
    void Refuse(result_t code) noexcept;

private:
    result_t DoSend(result_t delivery, Rope& data);

    Connection& connection_;
    CallFrame& frame_;
    const remote::RpcProtocolProcessorIn& request_;
    remote::ReplySender& sender_;
    bool sent_ = false;
};

// One request to a method of an object: its target, its data and the way to answer it.
class Invocation {
public:
    Invocation(Connection& connection, const CallTarget& target, bytes_t data, ReplyPort& reply)
        : connection_(connection), target_(target), data_(data), reply_(reply) {}

    Connection& connection() const noexcept { return connection_; }
    const CallTarget& target() const noexcept { return target_; }
    bytes_t data() const noexcept { return data_; }
    ReplyPort& reply() const noexcept { return reply_; }

private:
    Connection& connection_;
    const CallTarget& target_;
    bytes_t data_;
    ReplyPort& reply_;
};

}  // namespace vek::remoting
