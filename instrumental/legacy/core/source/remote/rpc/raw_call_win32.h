#pragma once

// Calls as the RPC runtime carries them, as bytes: what is in them is their user's to read. The
// runtime's own unmarshalling believes counts that a caller makes up.

#include <rpc.h>
#include <rpcndr.h>

#include <cstddef>

#include "remote/rpc/wire.h"

namespace remote {

// As rpc_transport.idl names it.
inline constexpr RPC_SYNTAX_IDENTIFIER kInterface{
    {0x251FA015, 0x40BD, 0x43BD, {0xA0, 0xF9, 0x04, 0xDC, 0x0F, 0x08, 0x08, 0x1C}}, {2, 0}};

// NDR, version 2.0.
inline constexpr RPC_SYNTAX_IDENTIFIER kTransferSyntax{
    {0x8A885D04, 0x1CEB, 0x11C9, {0x9F, 0xE8, 0x08, 0x00, 0x2B, 0x10, 0x48, 0x60}}, {2, 0}};

enum class Operation : unsigned { kConnect, kConfirm, kSend, kSendReceive, kDisconnect };
inline constexpr unsigned kOperationCount = 5;

// A call of this process's. One thread.
class RawCall {
public:
    RawCall() noexcept = default;
    ~RawCall();
    RawCall(const RawCall&) = delete;
    RawCall& operator=(const RawCall&) = delete;

    // Gives room for the `size` bytes of a request, to be filled before Perform; null with a
    // failure, which status() tells. Connects to the peer, so it may wait.
    std::byte* Prepare(RPC_BINDING_HANDLE peer, Operation operation, std::size_t size) noexcept;
    // Sends the request and waits for the reply.
    RPC_STATUS Perform() noexcept;

    RPC_STATUS status() const noexcept { return status_; }
    // What has been received and no more; after Perform, while this exists.
    bytes_t reply() const noexcept {
        return {static_cast<const std::byte*>(message_.Buffer), message_.BufferLength};
    }

private:
    RPC_STATUS status_ = RPC_S_OK;
    bool used_ = false;
    RPC_MESSAGE message_{};
    MIDL_STUB_MESSAGE stub_{};
};

// Calls an operation whose request and reply have one size. RPC_X_BAD_STUB_DATA for a reply that is
// too short.
template <class Request, class Reply>
RPC_STATUS CallPeer(RPC_BINDING_HANDLE peer, Operation operation, const Request& request,
                    Reply& reply) noexcept {
    RawCall call;
    std::byte* const room = call.Prepare(peer, operation, wire::kSize<Request>);
    if (room == nullptr) return call.status();
    wire::Write(room, request);
    if (const auto status = call.Perform(); status != RPC_S_OK) return status;
    const auto received = wire::Read<Reply>(call.reply());
    if (!received) return RPC_X_BAD_STUB_DATA;
    reply = *received;
    return RPC_S_OK;
}

// A call of a peer's, which this thread serves.
class ServedCall {
public:
    explicit ServedCall(RPC_MESSAGE& message) noexcept : message_(message) {
        request_ = {static_cast<const std::byte*>(message.Buffer), message.BufferLength};
    }
    ServedCall(const ServedCall&) = delete;
    ServedCall& operator=(const ServedCall&) = delete;

    RPC_BINDING_HANDLE handle() const noexcept { return message_.Handle; }
    // Valid until the call has returned.
    bytes_t request() const noexcept { return request_; }
    // Whether it came in this machine's byte order, which nothing else is read in.
    bool IsReadable() const noexcept;

    // Makes the reply `size` bytes, which are to be written; null when there is no memory. A second
    // call must not ask for more.
    std::byte* Reply(std::size_t size) noexcept;
    // As long as Reply has made it.
    std::byte* reply() const noexcept { return reply_; }

private:
    RPC_MESSAGE& message_;
    bytes_t request_;
    std::byte* reply_ = nullptr;
};

}  // namespace remote
