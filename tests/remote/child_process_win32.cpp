#include <windows.h>

#include <filesystem>

#include "tests/remote/child_process.h"
#include "vek/platform/handle_win32.h"

namespace tests {
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

private:
    UniqueHandle process_;
};

}  // namespace

std::unique_ptr<ChildProcess> StartBeside(const std::string& program, const std::string& argument) {
    wchar_t self[MAX_PATH];
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    const auto path = std::filesystem::path(self).parent_path() / (program + ".exe");
    std::wstring line =
        L"\"" + path.wstring() + L"\" " + std::wstring(argument.begin(), argument.end());
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION information{};
    ::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                     &information);
    UniqueHandle thread(information.hThread);
    return std::make_unique<Win32Child>(information.hProcess);
}

}  // namespace tests
