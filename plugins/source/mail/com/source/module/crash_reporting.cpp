#include "module/crash_reporting.h"

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "module/crash_reporter.h"
#include "vek/trace/line.h"

namespace plugins::dll {
namespace {

// What the filter needs. It can be called at any time once it was set, also after the end.
constinit std::atomic<CrashReporter*> reporter_at_work{nullptr};
constinit std::atomic<int> faults_in_filter{0};
constinit std::atomic<LPTOP_LEVEL_EXCEPTION_FILTER> filter_before{nullptr};
constinit std::atomic<bool> filter_left_behind{false};

LONG WINAPI FilterFault(EXCEPTION_POINTERS* fault) noexcept {
    ++faults_in_filter;
    CrashReporter* const reporter = reporter_at_work;
    const bool reported = reporter != nullptr && reporter->Report(*fault);
    --faults_in_filter;

    const LPTOP_LEVEL_EXCEPTION_FILTER before = filter_before;
    const LONG verdict = before != nullptr ? before(fault) : EXCEPTION_CONTINUE_SEARCH;
    // A reporter that has reported is never destroyed.
    if (reported && verdict == EXCEPTION_CONTINUE_EXECUTION) reporter->Outlived();
    return verdict;
}

void SetFilter() noexcept {
    const LPTOP_LEVEL_EXCEPTION_FILTER in_force = ::SetUnhandledExceptionFilter(FilterFault);
    if (in_force == FilterFault) return;
    if (filter_left_behind) {
        // That one calls ours already; ours must not call it.
        ::SetUnhandledExceptionFilter(in_force);
    } else {
        filter_before = in_force;
    }
}

// False, and nothing is changed, when ours is not the one in force.
bool PutFilterBack() noexcept {
    const LPTOP_LEVEL_EXCEPTION_FILTER in_force = ::SetUnhandledExceptionFilter(filter_before);
    filter_left_behind = in_force != FilterFault;
    if (filter_left_behind) ::SetUnhandledExceptionFilter(in_force);
    return !filter_left_behind;
}

// A violated noexcept, or an exception that a thread lets out, otherwise ends the process past all
// filters. The code is an application's own, for an error.
[[noreturn]] void RaiseTerminated() noexcept {
    constexpr DWORD kTerminated = 0xE0584C4D;
    ::RaiseException(kTerminated, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    std::abort();
}

void KeepModule() noexcept {
    HMODULE module = nullptr;
    ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                         reinterpret_cast<LPCWSTR>(&FilterFault), &module);
}

// Lets the calling thread report that its stack has overflowed.
void KeepStackForOverflow() noexcept {
    ULONG bytes = 32 << 10;
    ::SetThreadStackGuarantee(&bytes);
}

std::string DumpFolder(const std::optional<std::string>& trace_folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path folder =
        trace_folder && !trace_folder->empty()
            ? fs::path(std::u8string(trace_folder->begin(), trace_folder->end()))
            : fs::temp_directory_path(error);
    const std::u8string dumps = (folder / "dumps").make_preferred().u8string();
    return {dumps.begin(), dumps.end()};
}

}  // namespace

CrashReporting::CrashReporting(const std::optional<std::string>& trace_folder) {
    if (reporter_at_work != nullptr) return;
    reporter_ =
        std::make_unique<CrashReporter>(vek::trace::ProcessTracer(), DumpFolder(trace_folder));
    reporter_at_work = reporter_.get();
    KeepStackForOverflow();
    SetFilter();
    terminate_before_ = std::set_terminate(RaiseTerminated);
}

CrashReporting::~CrashReporting() {
    if (reporter_ == nullptr) return;
    std::set_terminate(terminate_before_);
    reporter_at_work = nullptr;
    if (!PutFilterBack()) {
        KeepModule();
        vek::trace::Write(reporter_->tracer(), vek::trace::level::kWarning,
                          "Exception filter is not the one in force, module stays loaded");
    }
    // Others' faults are soon through.
    while (faults_in_filter != 0 && !reporter_->busy()) ::Sleep(1);
    if (reporter_->busy()) {
        KeepModule();
        static_cast<void>(reporter_.release());
    }
}

}  // namespace plugins::dll
