#include <windows.h>

#include "sandbox/child_process/child_process.h"
#include "vek/platform/handle_win32.h"

namespace sandbox {
namespace {

using vek::platform::UniqueHandle;

class Win32Child final : public ChildProcess {
public:
    explicit Win32Child(HANDLE process) : process_(process) {}
    ~Win32Child() override { Win32Child::Kill(); }
    void Kill() override {
        if (process_) ::TerminateProcess(process_.get(), 1);
        ::WaitForSingleObject(process_.get(), INFINITE);
    }
    int Wait() override {
        DWORD code = 0;
        ::WaitForSingleObject(process_.get(), INFINITE);
        ::GetExitCodeProcess(process_.get(), &code);
        return static_cast<int>(code);
    }

private:
    UniqueHandle process_;
};

}  // namespace

std::filesystem::path ProgramFolder() {
    wchar_t self[MAX_PATH];
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    return std::filesystem::path(self).parent_path();
}

std::unique_ptr<ChildProcess> StartProgram(const std::filesystem::path& program,
                                           const std::vector<std::string>& arguments) {
    std::wstring line = L"\"" + program.wstring() + L".exe\"";
    for (const std::string& argument : arguments)
        line += L" \"" + std::filesystem::path(argument).wstring() + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &information);
    UniqueHandle thread(information.hThread);
    return std::make_unique<Win32Child>(information.hProcess);
}

}  // namespace sandbox
