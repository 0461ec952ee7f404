// A false end of the transport over the RPC runtime, made of the stubs of the interface's
// definition and of calls whose lengths lie.
//   hostile_peer connect:42   as a client of who listens there: ends with the number of the first
//                             lie that was answered with more than was sent, or 0
//   hostile_peer listen:42    as a server, whose answers are those of ReplyOf, in turn

#include <rpc.h>
#include <rpcndr.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "remote/rpc/binding_win32.h"
#include "remote/rpc/call_win32.h"
#include "rpc_transport.h"

namespace {

using words_t = std::vector<std::uint32_t>;

// What a reply's words are: size, pointer, count, a packet of 24 bytes and the verdict.
constexpr std::uint32_t kPacket[] = {0x0330EDEC, 0x00080002, 7, 0, 0xFFFF0001, 0x64636261};
constexpr std::uint32_t kSize = sizeof kPacket;

// In turn: honest at first, then ever more lying.
words_t ReplyOf(std::uint32_t turn) {
    const words_t heads[] = {
        {kSize, 1, kSize},           {kSize + 1016, 1, kSize},  {kSize + 1016, 1, kSize + 1016},
        {0xFFFFFFFF, 1, 0xFFFFFFFF}, {kSize + 4, 1, kSize + 4}, {kSize}};
    words_t words = heads[turn % std::size(heads)];
    if (words.size() < 3) return words;
    words.insert(words.end(), std::begin(kPacket), std::end(kPacket));
    if (turn != 4) words.push_back(0);
    return words;
}

void __RPC_STUB LieInReply(RPC_MESSAGE* message) {
    static std::atomic<std::uint32_t> turn{0};
    const words_t words = ReplyOf(turn++);
    message->BufferLength = static_cast<unsigned>(words.size() * 4);
    ::I_RpcGetBuffer(message);
    std::memcpy(message->Buffer, words.data(), words.size() * 4);
}

MIDL_uhyper own_token = 5;
const auto kNoLink = reinterpret_cast<link_t>(1);

// Gives how many bytes came back for a request of 24 bytes of head and the packet, 0 for none.
std::size_t Ask(const remote::RpcBinding& binding, MIDL_uhyper token, unsigned operation,
                words_t head, std::size_t sent) {
    std::memcpy(head.data(), &token, sizeof token);
    head.insert(head.end(), std::begin(kPacket), std::end(kPacket));
    RPC_MESSAGE message{};
    message.Handle = binding.get();
    message.RpcInterfaceInformation = CallRemotePackets_v2_0_c_ifspec;
    message.DataRepresentation = NDR_LOCAL_DATA_REPRESENTATION;
    message.ProcNum = operation;
    message.BufferLength = static_cast<unsigned>(sent);
    if (::I_RpcGetBuffer(&message) != RPC_S_OK) return 0;
    std::memcpy(message.Buffer, head.data(), std::min(sent, head.size() * 4));
    const bool answered = ::I_RpcSendReceive(&message) == RPC_S_OK;
    const std::size_t size = answered ? message.BufferLength : 0;
    ::I_RpcFreeBuffer(&message);
    return size;
}

void Serve(std::uint32_t id, RPC_SERVER_INTERFACE& served) {
    std::string protocol = "ncalrpc", name = remote::EndpointName({id, 0});
    ::RpcServerUseProtseqEpA(remote::ToRpc(protocol), 10, remote::ToRpc(name), nullptr);
    ::RpcServerRegisterIf2(&served, nullptr, nullptr, RPC_IF_AUTOLISTEN, 100, 1 << 20, nullptr);
}

int Attack(std::uint32_t id) {
    Serve(::GetCurrentProcessId(),
          *static_cast<RPC_SERVER_INTERFACE*>(StubRemotePackets_v2_0_s_ifspec));
    remote::RpcBinding binding;
    remote::RpcBinding::To({id, 0}, binding);
    remote_packets_peer = binding.get();
    MIDL_uhyper token = 0;
    link_t link = nullptr;
    LONG verdict = -1;
    remote::Guarded([&] {
        verdict = ::CallConnect(id, 0, ::GetCurrentProcessId(), 0, own_token, &token, &link);
    });
    if (verdict != 0) return 100;

    constexpr std::uint32_t kMuch = 2048, kTooMuch = 0xFFFFFFF0;
    constexpr std::size_t kWhole = 24 + kSize, kHonest = 12 + kSize + 4;
    const struct {
        unsigned operation;
        words_t head;  // token, depth, number, size, count; Send has no depth
        std::size_t sent, answered;
    } kLies[] = {
        {3, {0, 0, 0, 0, kSize, kSize}, kWhole, kHonest},
        {3, {0, 0, 0, 0, kMuch, kSize}, kWhole, 0},
        {3, {0, 0, 0, 0, kMuch, kMuch}, kWhole, 0},
        {3, {0, 0, 0, 0, kSize + 1, kSize + 1}, kWhole, 0},
        {3, {0, 0, 0, 0, kTooMuch, kTooMuch}, kWhole, 0},
        {3, {0, 0, 0, 0, kSize, kMuch}, kWhole, 0},
        {3, {0, 0, 0, 0, 0xF001, 0xF001}, 24 + 0xF001, 0},
        {3, {0, 0, 0, 0, 0x20000, 0x20000}, 24 + 0x20000, 0},
        {3, {0, 0, 0, 0, 0, 0}, 20, 0},
        {2, {0, 0, 1, kMuch, kSize}, 20 + kSize, 0},
        {2, {0, 0, 1, kMuch, kMuch}, 20 + kSize, 0},
        {2, {0, 0, 0, 4, 4}, 24, 4},  // a verdict: no number
        {0, {0, 0, 0, 0, 0, 0}, 23, 0},
        {1, {0, 0}, 7, 0},
        {4, {0, 0}, 4, 0},
        {3, {0, 0, 0, 0, kSize, kSize}, kWhole, kHonest},
    };
    for (const auto& lie : kLies) {
        if (Ask(binding, token, lie.operation, lie.head, lie.sent) != lie.answered)
            return static_cast<int>(&lie - kLies) + 1;
    }
    return 0;
}

}  // namespace

extern "C" {

void* __RPC_USER midl_user_allocate(std::size_t size) { return std::malloc(size); }
void __RPC_USER midl_user_free(void* bytes) { std::free(bytes); }

// Confirms itself to its client, and is confirmed to by its server.
LONG StubConnect(ULONG, ULONG, ULONG caller, ULONG, MIDL_uhyper token, MIDL_uhyper* own,
                 link_t* link) {
    remote::RpcBinding binding;
    remote::RpcBinding::To({caller, 0}, binding);
    remote_packets_peer = binding.get();
    LONG verdict = -1;
    unsigned long process = 0;
    ::I_RpcBindingInqLocalClientPID(::I_RpcGetCurrentCallHandle(), &process);
    link_t theirs = nullptr;
    *own = own_token;
    *link = kNoLink;
    const auto status = remote::Guarded([&] { verdict = ::CallConfirm(token, process, &theirs); });
    return status == RPC_S_OK ? verdict : -1;
}
LONG StubConfirm(MIDL_uhyper token, ULONG process, link_t* link) {
    *link = kNoLink;
    return token == own_token && process == ::GetCurrentProcessId() ? 0 : -1;
}
LONG StubSend(MIDL_uhyper, ULONG, part_size_t, const byte*) { return -1; }
LONG StubSendReceive(MIDL_uhyper, ULONG, ULONG, part_size_t, const byte*, packet_size_t*, byte**) {
    return -1;
}
LONG StubDisconnect(MIDL_uhyper) { return 0; }
void __RPC_USER link_t_rundown(link_t) {}

}  // extern "C"

int main(int, char** arguments) {
    const std::string_view argument = arguments[1];
    const auto id = static_cast<std::uint32_t>(
        std::strtoul(arguments[1] + argument.find(':') + 1, nullptr, 10));
    if (argument.starts_with("connect")) return Attack(id);

    auto lying = *static_cast<RPC_SERVER_INTERFACE*>(StubRemotePackets_v2_0_s_ifspec);
    std::vector<RPC_DISPATCH_FUNCTION> operations(
        lying.DispatchTable->DispatchTable,
        lying.DispatchTable->DispatchTable + lying.DispatchTable->DispatchTableCount);
    operations[3] = LieInReply;
    RPC_DISPATCH_TABLE table{static_cast<unsigned>(operations.size()), operations.data(), 0};
    lying.DispatchTable = &table;
    Serve(id, lying);
    ::Sleep(INFINITE);
}
