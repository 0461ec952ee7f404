#include "product/state/folder_security.h"

namespace reference_product {
namespace {

// Rights, as winnt.h has them.
constexpr std::uint32_t kDeleteChild = 0x40;
constexpr std::uint32_t kDelete = 0x1'0000;
constexpr std::uint32_t kWriteDac = 0x4'0000;
constexpr std::uint32_t kWriteOwner = 0x8'0000;
constexpr std::uint32_t kMaximumAllowed = 0x200'0000;
constexpr std::uint32_t kGenericAll = 0x1000'0000;
constexpr std::uint32_t kReplacing =
    kDeleteChild | kDelete | kWriteDac | kWriteOwner | kMaximumAllowed | kGenericAll;
// FILE_GENERIC_READ and FILE_GENERIC_EXECUTE, GENERIC_READ and GENERIC_EXECUTE.
constexpr std::uint32_t kReading = 0x12'00A9 | 0xA000'0000;

bool IsTrusted(const std::string& sid, const std::string& account) {
    return sid == "S-1-5-18" || sid == "S-1-5-32-544" || (!account.empty() && sid == account);
}

// Whoever makes or owns a file: the trusted, as nobody else can make one and each owner is looked
// at.
bool IsOwnersPlace(const std::string& sid) { return sid == "S-1-3-0" || sid == "S-1-3-4"; }

std::uint32_t Forbidden(const AccessEntry& entry, Openness openness) {
    switch (openness) {
        case Openness::kPassage:
            return entry.is_for_children ? 0 : kReplacing;
        case Openness::kReadable:
            return ~kReading;
        case Openness::kPrivate:
            break;
    }
    return ~std::uint32_t{0};
}

}  // namespace

std::string FaultOf(const FileSecurity& security, Openness openness, const std::string& account) {
    if (security.is_link) return "is a link";
    if (!IsTrusted(security.owner, account)) return "belongs to " + security.owner;
    if (!security.entries) return "is open to everybody";
    for (const AccessEntry& entry : *security.entries) {
        if (entry.kind == AccessEntry::Kind::kDeny || IsTrusted(entry.account, account) ||
            IsOwnersPlace(entry.account))
            continue;
        if (entry.kind == AccessEntry::Kind::kOther) return "has an entry of an unknown kind";
        if ((entry.rights & Forbidden(entry, openness)) != 0)
            return (openness == Openness::kPrivate ? "is open to " : "can be changed by ") +
                   entry.account;
    }
    return {};
}

}  // namespace reference_product
