#include "mail/dump/dump_file.h"

#include <windows.h>

#include <dbghelp.h>

#include <algorithm>
#include <array>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "vek/platform/handle_win32.h"
#include "vek/platform/process.h"
#include "vek/platform/unique_resource.h"

namespace mail_dump {
namespace {

namespace fs = std::filesystem;
using vek::platform::UniqueHandle;

// Stacks and what finds one's way in them. Memory that the stacks point to stays out: mails lie
// there.
constexpr auto kContent = static_cast<MINIDUMP_TYPE>(MiniDumpNormal | MiniDumpWithThreadInfo |
                                                     MiniDumpWithUnloadedModules);

constexpr std::wstring_view kPrefix = L"mlxo.";
constexpr std::wstring_view kSuffix = L".dmp";
constexpr std::wstring_view kPartSuffix = L".part";

[[noreturn]] void ThrowLastError(const std::string& what) {
    throw std::system_error(static_cast<int>(::GetLastError()), std::system_category(), what);
}

struct FileTraits {
    using value_t = HANDLE;
    static value_t None() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(value_t file) noexcept { ::CloseHandle(file); }
};

// The file of a dump, deleted unless it is finished.
class DumpFile {
public:
    explicit DumpFile(fs::path path)
        : path_(std::move(path)), part_(path_.native() + std::wstring(kPartSuffix)) {
        file_ = File(::CreateFileW(part_.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE,
                                   FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                                   nullptr));
        if (!file_) ThrowLastError("the dump's file cannot be made");
    }
    ~DumpFile() {
        if (path_.empty()) return;
        file_ = {};
        ::DeleteFileW(part_.c_str());
    }
    DumpFile(const DumpFile&) = delete;
    DumpFile& operator=(const DumpFile&) = delete;

    HANDLE get() const noexcept { return file_.get(); }

    fs::path Finish() {
        file_ = {};
        fs::rename(part_, path_);
        return std::exchange(path_, {});
    }

private:
    using File = vek::platform::UniqueResource<FileTraits>;
    fs::path path_;
    fs::path part_;
    File file_;
};

UniqueHandle OpenProcess(const DumpOptions& options) {
    constexpr DWORD kAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ | PROCESS_DUP_HANDLE;
    const std::string name = "process " + std::to_string(options.process);
    if (options.process == ::GetCurrentProcessId()) {
        throw std::runtime_error(name + " is this one");
    }
    UniqueHandle process(::OpenProcess(kAccess, FALSE, options.process));
    if (!process) ThrowLastError(name + " cannot be opened");

    const UniqueHandle thread(
        ::OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, options.thread));
    if (!thread) ThrowLastError("thread " + std::to_string(options.thread) + " cannot be opened");
    if (::GetProcessIdOfThread(thread.get()) != options.process) {
        throw std::runtime_error("thread " + std::to_string(options.thread) + " is not of " + name);
    }
    return process;
}

// The library that writes the dump does not look whether what it is told of can be read.
void CheckException(HANDLE process, std::uint64_t address) {
    const auto read = [&](std::uint64_t from, auto& content) {
        SIZE_T size = 0;
        return ::ReadProcessMemory(process, reinterpret_cast<const void*>(from), &content,
                                   sizeof content, &size) != FALSE &&
               size == sizeof content;
    };
    EXCEPTION_POINTERS pointers;
    EXCEPTION_RECORD record;
    CONTEXT context;
    if (!read(address, pointers) ||
        !read(reinterpret_cast<std::uintptr_t>(pointers.ExceptionRecord), record) ||
        !read(reinterpret_cast<std::uintptr_t>(pointers.ContextRecord), context)) {
        throw std::runtime_error("no exception is at the address");
    }
}

fs::path DumpPath(const DumpOptions& options, HANDLE process) {
    SYSTEMTIME now;
    ::GetSystemTime(&now);
    std::array<wchar_t, 40> time;
    std::swprintf(time.data(), time.size(), L".%04u%02u%02u-%02u%02u%02u", now.wYear, now.wMonth,
                  now.wDay, now.wHour, now.wMinute, now.wSecond);
    std::array<wchar_t, 1024> program{};
    auto length = static_cast<DWORD>(program.size());
    ::QueryFullProcessImageNameW(process, 0, program.data(), &length);

    std::wstring name(kPrefix);
    name += fs::path(program.data()).stem().native();
    name += L'.' + std::to_wstring(options.process);
    name += time.data();
    name += kSuffix;
    return options.folder / name;
}

void DeleteAllButNewest(const fs::path& folder) {
    std::vector<std::pair<fs::file_time_type, fs::path>> dumps;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        const std::wstring name = entry.path().filename().native();
        if (!name.starts_with(kPrefix) || !entry.is_regular_file(error)) continue;
        if (name.ends_with(kSuffix)) {
            dumps.emplace_back(entry.last_write_time(error), entry.path());
        } else if (name.ends_with(kPartSuffix)) {
            fs::remove(entry.path(), error);  // which fails while its writer lives
        }
    }
    std::ranges::sort(dumps, std::greater());
    for (std::size_t i = kMostDumps; i < dumps.size(); ++i) fs::remove(dumps[i].second, error);
}

}  // namespace

std::filesystem::path WriteDump(const DumpOptions& options) {
    const UniqueHandle process = OpenProcess(options);
    CheckException(process.get(), options.exception);
    fs::create_directories(options.folder);

    DumpFile file(DumpPath(options, process.get()));
    MINIDUMP_EXCEPTION_INFORMATION exception{};
    exception.ThreadId = options.thread;
    exception.ExceptionPointers =
        reinterpret_cast<EXCEPTION_POINTERS*>(static_cast<std::uintptr_t>(options.exception));
    exception.ClientPointers = TRUE;
    if (::MiniDumpWriteDump(process.get(), options.process, file.get(), kContent, &exception,
                            nullptr, nullptr) == FALSE) {
        ThrowLastError("the dump cannot be written");
    }
    fs::path path = file.Finish();
    DeleteAllButNewest(options.folder);
    return path;
}

}  // namespace mail_dump
