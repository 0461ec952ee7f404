#include "product/state/data_folders_win32.h"

#include <windows.h>
// After windows.h, which they need.
#include <aclapi.h>
#include <sddl.h>

#include <cstddef>
#include <memory>

#include "product/state/text_file.h"
#include "vek/core/throw.h"
#include "vek/platform/wide_win32.h"

namespace reference_product {
namespace {

using vek::platform::UniqueHandle;
using vek::platform::UniqueLocal;

void Require(bool done) {
    if (!done) vek::ThrowSystem(vek::result::kPlatformError);
}

std::string TextOf(PSID sid) {
    LPSTR text = nullptr;
    Require(::ConvertSidToStringSidA(sid, &text) != FALSE);
    return UniqueLocal<char>(text).get();
}

std::string OwnAccount() {
    HANDLE token = nullptr;
    Require(::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token) != FALSE);
    const UniqueHandle owned(token);
    alignas(TOKEN_USER) std::byte user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    Require(::GetTokenInformation(token, TokenUser, user, sizeof user, &size) != FALSE);
    return TextOf(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid);
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

// Opens it itself, not what it leads to. A folder cannot be moved while it is open.
UniqueHandle Open(const std::filesystem::path& path, bool is_folder) {
    const DWORD access =
        READ_CONTROL | FILE_READ_ATTRIBUTES | (is_folder ? FILE_LIST_DIRECTORY : 0);
    const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | (is_folder ? 0 : FILE_SHARE_DELETE);
    const HANDLE file =
        ::CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING,
                      FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE) throw Failure(path, "cannot be opened");
    return UniqueHandle(file);
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
// known to be no link.
void LookInto(const std::filesystem::path& folder, const std::string& account) {
    for (const auto& each : std::filesystem::directory_iterator(folder)) {
        const DWORD attributes = ::GetFileAttributesW(each.path().c_str());
        const bool is_folder =
            attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const UniqueHandle file = Open(each.path(), is_folder);
        Look(each.path(), file.get(), Openness::kReadable, account);
        if (is_folder) LookInto(each.path(), account);
    }
}

}  // namespace

DataFolders::DataFolders(const std::filesystem::path& data) : account_(OwnAccount()) {
    Take(data.parent_path(), Openness::kPassage);
    Take(data, Openness::kReadable);
    Take(data / "private", Openness::kPrivate);
    Take(data / "users", Openness::kPrivate);
    LookInto(data, account_);
}

void DataFolders::Take(const std::filesystem::path& folder, Openness openness) {
    Make(folder, openness, account_);
    held_.push_back(Open(folder, true));
    Look(folder, held_.back().get(), openness, account_);
    BY_HANDLE_FILE_INFORMATION facts;
    if (::GetFileInformationByHandle(held_.back().get(), &facts) == FALSE ||
        (facts.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        throw FolderRefused(PathText(folder) + " is no folder");
}

}  // namespace reference_product
