// The operations of the interface, as peers call them. Called on threads of the RPC runtime's.

#include <rpc.h>

#include "remote/rpc/accept_win32.h"
#include "remote/rpc/connection_win32.h"
#include "remote/rpc/server_win32.h"
#include "rpc_transport.h"
#include "vek/core/current_exception.h"

using remote::RpcServer;

namespace {

std::string Text(const unsigned char* text) { return reinterpret_cast<const char*>(text); }

}  // namespace

extern "C" {

LONG ServeConnect(handle_t, const unsigned char* endpoint, ULONG caller_process,
                  const unsigned char* caller_endpoint, MIDL_uhyper caller_token, ULONG* process,
                  MIDL_uhyper* token, link_t* link) {
    *process = ::GetCurrentProcessId();
    *token = 0;
    *link = nullptr;
    try {
        const std::uint32_t caller_id = remote::CallingProcess(caller_process);
        if (caller_id == 0) return static_cast<LONG>(vek::result::kAccessDenied);
        std::uint64_t made = 0;
        const vek::result_t code =
            remote::TakeIn({Text(endpoint), caller_id, Text(caller_endpoint), caller_token}, made);
        *token = made;
        *link = reinterpret_cast<link_t>(made);
        return static_cast<LONG>(code);
    } catch (...) {
        return static_cast<LONG>(vek::CurrentExceptionResult());
    }
}

LONG ServeSendReceive(handle_t, MIDL_uhyper token, ULONG depth, ULONG size, const byte* packet,
                      ULONG* reply_size, byte** reply) {
    *reply_size = 0;
    *reply = nullptr;
    const auto connection = RpcServer::Get().ConnectionOf(token);
    if (!connection) return static_cast<LONG>(remote::kUnknownToken);
    std::span<std::byte> bytes;
    const vek::result_t code =
        connection->Serve(depth, {reinterpret_cast<const std::byte*>(packet), size}, bytes);
    *reply_size = static_cast<unsigned long>(bytes.size());
    *reply = reinterpret_cast<byte*>(bytes.data());
    return static_cast<LONG>(code);
}

LONG ServeDisconnect(handle_t, MIDL_uhyper token) {
    const auto connection = RpcServer::Get().ConnectionOf(token);
    if (connection) connection->Lose("the peer has closed it");
    return 0;
}

// The runtime has lost a client that had connected.
void __RPC_USER link_t_rundown(link_t link) {
    const auto token = reinterpret_cast<std::uint64_t>(link);
    if (const auto connection = RpcServer::Get().ConnectionOf(token)) {
        connection->Lose("the peer has gone");
    }
}

}  // extern "C"
