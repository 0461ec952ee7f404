#include "remote/rpc/raw_call_win32.h"

#include "remote/rpc/call_win32.h"

namespace remote {
namespace {

RPC_CLIENT_INTERFACE client_interface{
    sizeof client_interface, kInterface, kTransferSyntax, nullptr, 0, nullptr, 0, nullptr, 0};

// What the runtime's helpers for stubs want to know of one.
MIDL_STUB_DESC* Description() noexcept {
    static MIDL_STUB_DESC description = [] {
        MIDL_STUB_DESC made{};
        made.RpcInterfaceInformation = &client_interface;
        made.fCheckBounds = 1;
        made.Version = 0x50002;  // of the format of descriptions
        return made;
    }();
    return &description;
}

bool IsOwnOrder(unsigned long representation) noexcept {
    return (representation & NDR_INT_REP_MASK) == NDR_LITTLE_ENDIAN;
}

}  // namespace

RawCall::~RawCall() {
    // It knows what is left to be freed, also after a failure.
    if (used_) Guarded([this] { ::NdrFreeBuffer(&stub_); });
}

std::byte* RawCall::Prepare(RPC_BINDING_HANDLE peer, Operation operation,
                            std::size_t size) noexcept {
    used_ = true;
    status_ = Guarded([&] {
        ::NdrClientInitializeNew(&message_, &stub_, Description(),
                                 static_cast<unsigned>(operation));
        ::NdrGetBuffer(&stub_, static_cast<unsigned long>(size), peer);
    });
    return status_ == RPC_S_OK ? static_cast<std::byte*>(message_.Buffer) : nullptr;
}

RPC_STATUS RawCall::Perform() noexcept {
    auto* const end = static_cast<unsigned char*>(message_.Buffer) + message_.BufferLength;
    status_ = Guarded([&] { ::NdrSendReceive(&stub_, end); });
    if (status_ == RPC_S_OK && !IsOwnOrder(message_.DataRepresentation)) {
        status_ = RPC_X_BAD_STUB_DATA;
    }
    return status_;
}

bool ServedCall::IsReadable() const noexcept { return IsOwnOrder(message_.DataRepresentation); }

std::byte* ServedCall::Reply(std::size_t size) noexcept {
    message_.BufferLength = static_cast<unsigned>(size);
    if (reply_ == nullptr && ::I_RpcGetBuffer(&message_) == RPC_S_OK) {
        reply_ = static_cast<std::byte*>(message_.Buffer);
    }
    return reply_;
}

}  // namespace remote
