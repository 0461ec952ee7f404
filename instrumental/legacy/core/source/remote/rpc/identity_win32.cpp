// What Wine cannot tell, and what stands for it, is here and nowhere else: see RequireServer.

#include "remote/rpc/identity_win32.h"

#include <windows.h>
// After windows.h, which it needs.
#include <sddl.h>

#include <algorithm>
#include <atomic>
#include <span>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/token_win32.h"

namespace remote {
namespace {

using vek::platform::TokenFact;
using vek::platform::UniqueHandle;

// Whether S-1-5-4 is among the groups that count.
bool IsInteractive(const TokenFact<TOKEN_GROUPS>& groups) noexcept {
    constexpr DWORD kCounts = SE_GROUP_ENABLED | SE_GROUP_USE_FOR_DENY_ONLY;
    const std::span all(groups->Groups, groups->GroupCount);
    return std::ranges::any_of(all, [](const SID_AND_ATTRIBUTES& group) {
        return (group.Attributes & kCounts) == SE_GROUP_ENABLED &&
               ::IsWellKnownSid(group.Sid, WinInteractiveSid) != FALSE;
    });
}

// Of a token, of which it is enough that it may be looked at; process_id is not set. Nothing when a
// part is missing.
std::optional<PeerIdentity> IdentityOf(HANDLE token) {
    const TokenFact<TOKEN_USER> user(token, TokenUser);
    const TokenFact<DWORD> session(token, TokenSessionId);
    const TokenFact<TOKEN_MANDATORY_LABEL> label(token, TokenIntegrityLevel);
    const TokenFact<TOKEN_GROUPS> groups(token, TokenGroups);
    if (!user || !session || !label || !groups) return std::nullopt;
    std::string account = vek::platform::SidText(user->User.Sid);
    if (account.empty()) return std::nullopt;
    const PSID level = label->Label.Sid;
    const UCHAR parts = *::GetSidSubAuthorityCount(level);
    if (parts == 0) return std::nullopt;
    const DWORD integrity = *::GetSidSubAuthority(level, parts - 1u);
    return PeerIdentity{0, *session, std::move(account), integrity, IsInteractive(groups)};
}

// The token of the thread's caller.
UniqueHandle CallerToken(RPC_BINDING_HANDLE call) noexcept {
    HANDLE token = nullptr;
    if (::RpcImpersonateClient(call) != RPC_S_OK) return {};
    // As this process: a caller may let itself be identified and no more.
    if (::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, &token) == FALSE) {
        token = nullptr;
    }
    if (::RpcRevertToSelfEx(call) != RPC_S_OK) ::RevertToSelf();
    return UniqueHandle(token);
}

class SystemIdentitySource final : public IdentitySource {
public:
    std::uint32_t CallingProcess(RPC_BINDING_HANDLE call) noexcept override {
        unsigned long id = 0;
        return ::I_RpcBindingInqLocalClientPID(call, &id) == RPC_S_OK ? id : 0;
    }

    std::optional<PeerIdentity> Caller(RPC_BINDING_HANDLE call) override {
        const std::uint32_t id = CallingProcess(call);
        if (id == 0) return std::nullopt;
        const UniqueHandle token = CallerToken(call);
        if (!token) return std::nullopt;
        auto caller = IdentityOf(token.get());
        if (caller) caller->process_id = id;
        return caller;
    }

    RPC_STATUS RequireServer(RPC_BINDING_HANDLE binding, const Endpoint& endpoint,
                             const std::string& account) override {
        // Over TCP the system names neither end's process.
        if (endpoint.local_id == 0) return RPC_S_ACCESS_DENIED;
        PSID sid = nullptr;
        if (::ConvertStringSidToSidA(account.c_str(), &sid) == FALSE) return RPC_S_INVALID_ARG;
        const vek::platform::UniqueLocal<void> owned(sid);
        RPC_SECURITY_QOS_V3_W wanted{};
        wanted.Version = RPC_C_SECURITY_QOS_VERSION_3;
        wanted.Capabilities = RPC_C_QOS_CAPABILITIES_MUTUAL_AUTH;
        wanted.IdentityTracking = RPC_C_QOS_IDENTITY_STATIC;
        wanted.ImpersonationType = RPC_C_IMP_LEVEL_IDENTIFY;
        wanted.Sid = sid;
        const RPC_STATUS status = ::RpcBindingSetAuthInfoExW(
            binding, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY, RPC_C_AUTHN_WINNT, nullptr,
            RPC_C_AUTHZ_NONE, reinterpret_cast<RPC_SECURITY_QOS*>(&wanted));
        // Wine cannot ask for a server's account. That the server confirms itself by a call of its
        // own, whose caller Wine does tell, has to do there.
        return status == RPC_S_UNKNOWN_AUTHN_SERVICE && IsWine() ? RPC_S_OK : status;
    }

    std::optional<PeerIdentity> Self() override {
        const UniqueHandle token = vek::platform::OwnToken();
        if (!token) return std::nullopt;
        auto self = IdentityOf(token.get());
        if (self) self->process_id = ::GetCurrentProcessId();
        return self;
    }
};

const bool is_wine = [] {
    const HMODULE system = ::GetModuleHandleW(L"ntdll.dll");
    return system != nullptr && ::GetProcAddress(system, "wine_get_version") != nullptr;
}();

std::atomic<IdentitySource*> source_in_place{nullptr};

}  // namespace

IdentitySource& TheIdentitySource() noexcept {
    static vek::NeverDestroyed<SystemIdentitySource> system;
    IdentitySource* const other = source_in_place;
    return other != nullptr ? *other : *system;
}

void SetIdentitySource(IdentitySource* source) noexcept { source_in_place = source; }

std::string WantedAccount(const TransportConfig& config) {
    if (!config.peer_account.empty()) return config.peer_account;
    const auto self = TheIdentitySource().Self();
    return self ? self->account : std::string();
}

EventNamespace EventNamespaceOf(const TransportConfig& config) {
    const bool own = WantedAccount(config) == WantedAccount({});
    return own ? EventNamespace::kSession : EventNamespace::kGlobal;
}

bool IsPeerAllowed(const PeerIdentity& peer, const TransportConfig& config) {
    const auto self = TheIdentitySource().Self();
    if (!self || peer.process_id == 0 || peer.account.empty()) return false;
    const std::string& wanted = config.peer_account;
    bool allowed;
    if (wanted == kInteractiveUsers) {
        allowed = peer.is_interactive && peer.integrity >= kMediumIntegrity;
    } else if (wanted.empty() || wanted == self->account) {
        allowed = peer.account == self->account && peer.session_id == self->session_id &&
                  peer.integrity >= self->integrity;
    } else {
        allowed = peer.account == wanted;
    }
    return allowed && (!config.peer_check || config.peer_check(peer.process_id));
}

bool IsWine() noexcept { return is_wine; }

}  // namespace remote
