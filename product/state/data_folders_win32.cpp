#include "product/state/data_folders_win32.h"

#include <windows.h>
// After windows.h, which they need.
#include <aclapi.h>
#include <sddl.h>

#include <memory>
#include <utility>

#include "product/state/open_at_once_win32.h"
#include "product/state/run_folder.h"
#include "product/state/text_file.h"
#include "vek/core/border.h"
#include "vek/core/throw.h"
#include "vek/platform/token_win32.h"

namespace reference_product {
namespace {

using vek::platform::TokenFact;
using vek::platform::UniqueHandle;
using vek::platform::UniqueLocal;

void Require(bool done) {
    if (!done) vek::ThrowSystem(vek::result::kPlatformError);
}

std::string TextOf(PSID sid) {
    std::string text = vek::platform::SidText(sid);
    Require(!text.empty());
    return text;
}

std::string OwnAccount() {
    const TokenFact<TOKEN_USER> user(vek::platform::OwnToken().get(), TokenUser);
    Require(static_cast<bool>(user));
    return TextOf(user->User.Sid);
}

// A refusal with the system's last error.
FolderRefused Failure(const std::filesystem::path& path, const char* what) {
    return FolderRefused(PathText(path) + ' ' + what + ": error " +
                         std::to_string(::GetLastError()));
}

// A folder that inherits nothing. It and what is made in it is the system's, its administrators'
// and the service's; users read it and the files in it, not its folders, unless it is private.
void Make(const std::filesystem::path& folder, Openness openness, const std::string& account) {
    const std::string list = "D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;" + account + ")" +
                             (openness == Openness::kPrivate ? "" : "(A;OINP;0x1200a9;;;BU)");
    PSECURITY_DESCRIPTOR security = nullptr;
    Require(::ConvertStringSecurityDescriptorToSecurityDescriptorA(list.c_str(), SDDL_REVISION_1,
                                                                   &security, nullptr) != FALSE);
    const UniqueLocal<void> owned(security);
    SECURITY_ATTRIBUTES attributes{sizeof attributes, security, FALSE};
    if (::CreateDirectoryW(folder.c_str(), &attributes) == FALSE &&
        ::GetLastError() != ERROR_ALREADY_EXISTS)
        throw Failure(folder, "cannot be made");
}

// Of a file or folder itself, not what it leads to.
constexpr ULONG kItself = FILE_OPEN_FOR_BACKUP_INTENT | FILE_OPEN_REPARSE_POINT;

// A folder cannot be moved while it is open. Null when it is gone.
UniqueHandle Open(const std::filesystem::path& path, bool is_folder) {
    OpenedFile opened = OpenAtOnce(
        path, READ_CONTROL | FILE_READ_ATTRIBUTES | (is_folder ? FILE_LIST_DIRECTORY : 0),
        is_folder ? FILE_SHARE_READ | FILE_SHARE_WRITE : kShareAll, kItself);
    if (!opened.file && !opened.IsGone()) throw Failure(path, "cannot be opened");
    return std::move(opened.file);
}

AccessEntry EntryOf(const ACE_HEADER& header) {
    using Kind = AccessEntry::Kind;
    AccessEntry entry{Kind::kOther, (header.AceFlags & INHERIT_ONLY_ACE) != 0, 0, {}};
    if (header.AceType == ACCESS_ALLOWED_ACE_TYPE || header.AceType == ACCESS_DENIED_ACE_TYPE) {
        // Both have the same form.
        const auto& ace = reinterpret_cast<const ACCESS_ALLOWED_ACE&>(header);
        entry.kind = header.AceType == ACCESS_ALLOWED_ACE_TYPE ? Kind::kAllow : Kind::kDeny;
        entry.rights = ace.Mask;
        entry.account = TextOf(const_cast<DWORD*>(&ace.SidStart));
    }
    return entry;
}

FileSecurity SecurityOf(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION facts;
    Require(::GetFileInformationByHandle(file, &facts) != FALSE);
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR security = nullptr;
    ::SetLastError(::GetSecurityInfo(file, SE_FILE_OBJECT,
                                     OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                                     nullptr, &list, nullptr, &security));
    Require(::GetLastError() == ERROR_SUCCESS);
    const UniqueLocal<void> owned(security);
    FileSecurity found{
        (facts.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0, TextOf(owner), {}};
    if (list == nullptr) return found;
    found.entries.emplace();
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* ace = nullptr;
        Require(::GetAce(list, i, &ace) != FALSE);
        found.entries->push_back(EntryOf(*static_cast<const ACE_HEADER*>(ace)));
    }
    return found;
}

void Look(const std::filesystem::path& path, HANDLE file, Openness openness,
          const std::string& account) {
    const std::string fault = FaultOf(SecurityOf(file), openness, account);
    if (!fault.empty()) throw FolderRefused(PathText(path) + ' ' + fault);
}

// Of all that is in a folder nothing may be others' to change. A folder is looked into when it is
// known to be no link. What goes meanwhile is nobody's to change: a name of an earlier scanner may
// have been removed and be open still.
void LookInto(const std::filesystem::path& folder, const std::string& account,
              const std::function<void()>& look) {
    for (const auto& each : std::filesystem::directory_iterator(folder)) {
        const DWORD attributes = ::GetFileAttributesW(each.path().c_str());
        const bool is_folder =
            attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const UniqueHandle file = Open(each.path(), is_folder);
        if (!file) continue;
        Look(each.path(), file.get(), Openness::kReadable, account);
        look();
        if (is_folder) LookInto(each.path(), account, look);
    }
}

}  // namespace

DataFolders::DataFolders(const std::filesystem::path& data, const std::function<void()>& look)
    : account_(OwnAccount()) {
    Take(data.parent_path(), Openness::kPassage);
    Take(data, Openness::kReadable);
    Take(data / "private", Openness::kPrivate);
    Take(data / "users", Openness::kPrivate);
    LookInto(data, account_, look);
}

void DataFolders::Take(const std::filesystem::path& folder, Openness openness) {
    Make(folder, openness, account_);
    held_.push_back(Open(folder, true));
    if (!held_.back()) throw Failure(folder, "cannot be opened");
    Look(folder, held_.back().get(), openness, account_);
    BY_HANDLE_FILE_INFORMATION facts;
    if (::GetFileInformationByHandle(held_.back().get(), &facts) == FALSE ||
        (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        throw FolderRefused(PathText(folder) + " is no folder");
}

void WithdrawScanner(const std::filesystem::path& data) noexcept {
    static_cast<void>(vek::AtBorder([&] {
        const ScannerNames names(data);
        for (const std::filesystem::path& path : names.All())
            OpenAtOnce(path, DELETE, kShareAll, kItself | FILE_DELETE_ON_CLOSE);
        const std::uint32_t service = ::GetCurrentProcessId();
        if (names.ScannerOf(service)) names.Publish({service, 0, 0});
    }));
}

}  // namespace reference_product
