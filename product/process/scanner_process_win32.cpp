#include "product/process/scanner_process_win32.h"

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <vector>

#include "vek/core/throw.h"

namespace reference_product {
namespace {

using vek::platform::UniqueHandle;

void Require(BOOL done) {
    if (done == FALSE) vek::ThrowSystem(vek::result::kPlatformError);
}

UniqueHandle MakeJob() {
    UniqueHandle job(::CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    Require(job ? TRUE : FALSE);
    Require(::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits,
                                      sizeof limits));
    return job;
}

// A process's attributes that let it inherit one handle.
class Inherits {
public:
    explicit Inherits(HANDLE handle) : handle_(handle) {
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);  // asks for the size
        room_.resize(size);
        Require(::InitializeProcThreadAttributeList(list(), 1, 0, &size));
        Require(::SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT));
        Require(::UpdateProcThreadAttribute(list(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &handle_,
                                            sizeof handle_, nullptr, nullptr));
    }
    ~Inherits() { ::DeleteProcThreadAttributeList(list()); }
    Inherits(const Inherits&) = delete;
    Inherits& operator=(const Inherits&) = delete;

    LPPROC_THREAD_ATTRIBUTE_LIST list() noexcept {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(room_.data());
    }

private:
    HANDLE handle_;
    std::vector<std::byte> room_;
};

std::wstring ThisProgram() {
    std::wstring path(UNICODE_STRING_MAX_CHARS, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// No argument of the service's ends with a backslash or has a quotation mark.
std::wstring CommandLine(const std::wstring& program, std::span<char* const> arguments) {
    std::wstring line = L'"' + program + L'"';
    for (const std::string_view argument : arguments) {
        const bool is_mode = argument == "--service";
        line += L" \"" + std::filesystem::path(is_mode ? "--scanner" : argument).wstring() + L'"';
    }
    return line + L" --service-process " + std::to_wstring(::GetCurrentProcessId());
}

}  // namespace

ScannerProcess::ScannerProcess(std::span<char* const> arguments) : job_(MakeJob()) {
    HANDLE theirs = nullptr;
    HANDLE ours = nullptr;
    Require(::CreatePipe(&theirs, &ours, nullptr, 0));
    const UniqueHandle inherited(theirs);
    input_ = UniqueHandle(ours);

    Inherits inherits(theirs);
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof startup;
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    startup.StartupInfo.hStdInput = theirs;
    startup.lpAttributeList = inherits.list();
    const std::wstring program = ThisProgram();
    std::wstring line = CommandLine(program, arguments);
    PROCESS_INFORMATION started{};
    // It runs when it is in the job, and has no console whose signals could end it.
    Require(::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE,
                             CREATE_SUSPENDED | DETACHED_PROCESS | EXTENDED_STARTUPINFO_PRESENT,
                             nullptr, nullptr, &startup.StartupInfo, &started));
    process_ = UniqueHandle(started.hProcess);
    id_ = started.dwProcessId;
    const UniqueHandle thread(started.hThread);
    if (::AssignProcessToJobObject(job_.get(), started.hProcess) == FALSE ||
        ::ResumeThread(thread.get()) == static_cast<DWORD>(-1)) {
        const DWORD error = ::GetLastError();
        Kill();
        ::SetLastError(error);
        Require(FALSE);
    }
}

std::uint32_t ScannerProcess::ExitCode() const noexcept {
    DWORD code = 0;
    ::GetExitCodeProcess(process_.get(), &code);
    return code;
}

void ScannerProcess::Kill() noexcept {
    ::TerminateProcess(process_.get(), 1);
    ::WaitForSingleObject(process_.get(), INFINITE);
}

}  // namespace reference_product
