#include "remote/rpc/peer_win32.h"

#include <rpc.h>

#include <optional>
#include <string_view>
#include <vector>

namespace remote {
namespace {

using vek::platform::UniqueHandle;

// The content of a TOKEN_USER.
std::optional<std::vector<std::byte>> UserOf(HANDLE process) {
    HANDLE token = nullptr;
    if (::OpenProcessToken(process, TOKEN_QUERY, &token) == FALSE) return {};
    const UniqueHandle owned(token);
    DWORD size = 0;
    ::GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<std::byte> user(size);
    if (::GetTokenInformation(token, TokenUser, user.data(), size, &size) == FALSE) return {};
    return user;
}

bool IsOfSameUser(std::uint32_t process_id) {
    const UniqueHandle process(::OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id));
    if (!process) return false;
    const auto theirs = UserOf(process.get());
    const auto ours = UserOf(::GetCurrentProcess());
    return theirs && ours &&
           ::EqualSid(reinterpret_cast<const TOKEN_USER*>(theirs->data())->User.Sid,
                      reinterpret_cast<const TOKEN_USER*>(ours->data())->User.Sid) != FALSE;
}

// Also when that cannot be learnt.
bool IsLocalProtocol(RPC_BINDING_HANDLE caller) noexcept {
    RPC_CSTR text = nullptr;
    if (::RpcBindingToStringBindingA(caller, &text) != RPC_S_OK) return true;
    const bool local =
        std::string_view(reinterpret_cast<const char*>(text)).starts_with(kLocalProtocol);
    ::RpcStringFreeA(&text);
    return local;
}

}  // namespace

std::uint32_t CallingProcess(std::uint32_t claimed) noexcept {
    // Not the handle that the stub is given: not every runtime fills that in.
    const RPC_BINDING_HANDLE caller = ::I_RpcGetCurrentCallHandle();
    if (caller == nullptr) return 0;
    // Not in every runtime, and only for "ncalrpc".
    using inquire_t = RPC_STATUS(RPC_ENTRY*)(RPC_BINDING_HANDLE, unsigned long*);
    static const auto inquire = reinterpret_cast<inquire_t>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"rpcrt4.dll"), "I_RpcBindingInqLocalClientPID")));
    if (inquire == nullptr || !IsLocalProtocol(caller)) return claimed;
    unsigned long told = 0;
    return inquire(caller, &told) == RPC_S_OK ? told : 0;
}

bool IsProcessAllowed(std::uint32_t process_id, const PeerCheck& check) {
    return check ? check(process_id) : IsOfSameUser(process_id);
}

PeerProcess::PeerProcess(std::uint32_t id) noexcept
    : process_(::OpenProcess(SYNCHRONIZE | PROCESS_DUP_HANDLE, FALSE, id)) {
    if (!process_) {
        can_duplicate_ = false;
        process_ = UniqueHandle(::OpenProcess(SYNCHRONIZE, FALSE, id));
    }
}

void PeerProcess::Watch(WAITORTIMERCALLBACK ended, std::uint64_t argument) noexcept {
    if (!process_ || ::RegisterWaitForSingleObject(&wait_, process_.get(), ended,
                                                   reinterpret_cast<void*>(argument), INFINITE,
                                                   WT_EXECUTEONLYONCE) == FALSE) {
        wait_ = nullptr;
    }
}

PeerProcess::~PeerProcess() {
    if (wait_ != nullptr) ::UnregisterWaitEx(wait_, nullptr);
}

}  // namespace remote
