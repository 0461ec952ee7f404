#include "sandbox/demo/scenario/host_calls.h"

#include <algorithm>
#include <array>
#include <utility>

namespace sandbox::demo {
namespace {

using outlook::Call;

// MAPI's: those that a check makes most.
constexpr std::array<std::pair<std::string_view, Call>, 13> kMapiCalls = {{
    {"MAPIInitialize", Call::kInitialize},
    {"MAPILogonEx", Call::kLogonEx},
    {"IMAPISession.OpenEntry", Call::kOpenEntry},
    {"IMAPIProp.GetProps", Call::kGetProps},
    {"IMAPIProp.SetProps", Call::kSetProps},
    {"IMAPIProp.OpenProperty", Call::kOpenProperty},
    {"IMAPIProp.SaveChanges", Call::kSaveChanges},
    {"IMessage.GetAttachmentTable", Call::kGetAttachmentTable},
    {"IMessage.GetRecipientTable", Call::kGetRecipientTable},
    {"IMessage.OpenAttach", Call::kOpenAttach},
    {"IStream.Read", Call::kStreamRead},
    {"IStream.Write", Call::kStreamWrite},
    {"HrQueryAllRows", Call::kQueryAllRows},
}};

}  // namespace

std::optional<HostCall> HostCallOf(std::string_view name) {
    if (const auto call = outlook::ObjectCallOf(name)) return HostCall(*call);
    const auto found =
        std::ranges::find(kMapiCalls, name, &std::pair<std::string_view, Call>::first);
    if (found == kMapiCalls.end()) return std::nullopt;
    return HostCall(found->second);
}

}  // namespace sandbox::demo
