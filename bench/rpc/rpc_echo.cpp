// Serves bare calls: sends back the packet that comes.
//   rpc_echo PARENT_PROCESS_ID ENDPOINT

#include <rpc.h>
#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "bare_call.h"

extern "C" {

void* __RPC_USER midl_user_allocate(std::size_t size) { return std::malloc(size); }
void __RPC_USER midl_user_free(void* bytes) { std::free(bytes); }

LONG StubEcho(handle_t, MIDL_uhyper, ULONG, ULONG size, const byte* packet, ULONG* reply_size,
              byte** reply) {
    *reply_size = size;
    *reply = static_cast<byte*>(std::malloc(size));
    std::memcpy(*reply, packet, size);
    return 0;
}

}  // extern "C"

int main(int, char** arguments) {
    unsigned char protocol[] = "ncalrpc";
    auto* const endpoint = reinterpret_cast<unsigned char*>(arguments[2]);
    const HANDLE parent =
        ::OpenProcess(SYNCHRONIZE, FALSE, std::strtoul(arguments[1], nullptr, 10));
    if (::RpcServerUseProtseqEpA(protocol, RPC_C_PROTSEQ_MAX_REQS_DEFAULT, endpoint, nullptr) !=
            RPC_S_OK ||
        ::RpcServerRegisterIf2(StubBareCall_v1_0_s_ifspec, nullptr, nullptr, RPC_IF_AUTOLISTEN,
                               RPC_C_LISTEN_MAX_CALLS_DEFAULT, 1u << 30, nullptr) != RPC_S_OK) {
        return 2;
    }
    ::WaitForSingleObject(parent, INFINITE);
    return 0;
}
