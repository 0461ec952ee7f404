#include "product/process/service.h"

#include <windows.h>

#include <atomic>
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "product/process/restart_policy.h"
#include "product/process/scanner_process_win32.h"
#include "product/product_log.h"
#include "product/state/data_folders_win32.h"
#include "vek/core/current_exception.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/wide_win32.h"

namespace reference_product {
namespace {

// For the scanner to end by itself. What is left of a second is the system's, for its end by force.
constexpr DWORD kScannersEnd = 600;  // ms

// The service control manager waits so long for the next word, at the start and at the end.
constexpr DWORD kWaitHint = 30'000;  // ms

class Service {
public:
    Service(const ProductOptions& options, std::span<char* const> arguments)
        : options_(options),
          arguments_(arguments),
          stop_(::CreateEventW(nullptr, TRUE, FALSE, {})) {
        if (!stop_) throw std::runtime_error("no event for the service's stop");
    }

    // The service's life, on a thread of the service control dispatcher's.
    void Run(const wchar_t* name) noexcept {
        manager_ = ::RegisterServiceCtrlHandlerExW(name, &OnControl, this);
        Report(SERVICE_START_PENDING);
        std::string fault;
        try {
            const DataFolders folders(options_.data, [this] { StillStarting(); });
            OpenLog(options_.log);  // raises where there can be none
            // For each entry anew: it is the scanner that begins a full one anew.
            KeepScanner([this](std::string_view text) { OpenLog(options_.log)(text); });
            code_ = ExitCode::kStopped;
        } catch (const FolderRefused& refused) {
            fault = refused.what();
            code_ = ExitCode::kRefused;
        } catch (...) {
            fault = vek::CurrentExceptionText();
        }
        if (!fault.empty()) WriteEvent(name, fault);
        Report(SERVICE_STOPPED);  // this process may be gone from now on
    }

    ExitCode code() const noexcept { return code_; }

private:
    static DWORD WINAPI OnControl(DWORD control, DWORD, void*, void* context) {
        Service& self = *static_cast<Service*>(context);
        switch (control) {
            case SERVICE_CONTROL_STOP:
            case SERVICE_CONTROL_SHUTDOWN:
                self.Report(SERVICE_STOP_PENDING);
                ::SetEvent(self.stop_.get());
                return NO_ERROR;
            case SERVICE_CONTROL_INTERROGATE:
                return NO_ERROR;
            default:
                return ERROR_CALL_NOT_IMPLEMENTED;
        }
    }

    // Until the service is to stop. No scanner runs afterwards, and none is published.
    void KeepScanner(const Log& log) {
        WithdrawScanner(options_.data);
        log("service started: process " + std::to_string(::GetCurrentProcessId()));
        Report(SERVICE_RUNNING);
        RestartPolicy policy;
        for (;;) {
            policy.Started();
            const std::string ended = RunScanner(log);
            WithdrawScanner(options_.data);
            if (IsStopped(0)) {
                log(ended + "; service stopped");
                return;
            }
            const auto pause = policy.Ended();
            log(ended + "; it is started again in " + std::to_string(pause.count()) + " ms");
            if (IsStopped(static_cast<DWORD>(pause.count()))) return log("service stopped");
        }
    }

    // Starts it, and waits for its end. Says how it ended.
    std::string RunScanner(const Log& log) {
        std::optional<ScannerProcess> scanner;
        try {
            scanner.emplace(arguments_);
        } catch (...) {
            return "scanner cannot be started: " + vek::CurrentExceptionText();
        }
        log("scanner started: process " + std::to_string(scanner->id()));
        const HANDLE either[] = {stop_.get(), scanner->process()};
        if (::WaitForMultipleObjects(2, either, FALSE, INFINITE) == WAIT_OBJECT_0) {
            scanner->AskToStop();
            if (::WaitForSingleObject(scanner->process(), kScannersEnd) != WAIT_OBJECT_0) {
                scanner->Kill();
                return "scanner did not end in time and was ended by force";
            }
        }
        return "scanner ended: exit code " + std::to_string(scanner->ExitCode());
    }

    bool IsStopped(DWORD time) const noexcept {
        return ::WaitForSingleObject(stop_.get(), time) == WAIT_OBJECT_0;
    }

    // There may be many files to look at.
    void StillStarting() noexcept {
        constexpr ULONGLONG kPause = 1'000;  // ms
        const ULONGLONG now = ::GetTickCount64();
        if (now - reported_ < kPause) return;
        reported_ = now;
        Report(SERVICE_START_PENDING);
    }

    void Report(DWORD state) noexcept {
        SERVICE_STATUS status{};
        status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
        status.dwCurrentState = state;
        if (state == SERVICE_RUNNING) {
            status.dwControlsAccepted = SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN;
        } else if (state != SERVICE_STOPPED) {
            status.dwWaitHint = kWaitHint;
            status.dwCheckPoint = ++check_point_;
        } else if (code_ != ExitCode::kStopped) {
            status.dwWin32ExitCode = ERROR_SERVICE_SPECIFIC_ERROR;
            status.dwServiceSpecificExitCode = static_cast<DWORD>(code_);
        }
        ::SetServiceStatus(manager_, &status);
    }

    // To the application log of the system. Its viewer shows the text whatever it knows of the
    // source.
    static void WriteEvent(const wchar_t* name, const std::string& text) noexcept {
        const HANDLE source = ::RegisterEventSourceW(nullptr, name);
        if (source == nullptr) return;
        try {
            const std::wstring wide = vek::platform::ToWide(text);
            const wchar_t* const texts[] = {wide.c_str()};
            ::ReportEventW(source, EVENTLOG_ERROR_TYPE, 0, 1, nullptr, 1, 0,
                           const_cast<const wchar_t**>(texts), nullptr);
        } catch (...) {  // NOLINT(bugprone-empty-catch): the exit code says it, too
        }
        ::DeregisterEventSource(source);
    }

    const ProductOptions& options_;
    const std::span<char* const> arguments_;
    const vek::platform::UniqueHandle stop_;
    SERVICE_STATUS_HANDLE manager_ = nullptr;
    ExitCode code_ = ExitCode::kCannotStart;
    ULONGLONG reported_ = 0;
    std::atomic<DWORD> check_point_{0};
};

// The dispatcher's callback has no context; a process has one service.
Service* the_service = nullptr;

void WINAPI ServiceMain(DWORD, wchar_t** arguments) { the_service->Run(arguments[0]); }

}  // namespace

ExitCode RunService(const ProductOptions& options, std::span<char* const> arguments) {
    Service service(options, arguments);
    the_service = &service;
    wchar_t any_name[] = L"";  // a process of one service is given its name
    const SERVICE_TABLE_ENTRYW table[] = {{any_name, &ServiceMain}, {nullptr, nullptr}};
    if (::StartServiceCtrlDispatcherW(table) == FALSE)
        std::cerr << "the service control manager starts this, and nobody else\n";
    return service.code();
}

}  // namespace reference_product
