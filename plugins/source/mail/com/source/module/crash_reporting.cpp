#include "module/crash_reporting.h"

#include <windows.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>

#include "module/crash_reporter.h"
#include "vek/trace/line.h"

namespace plugins::dll {
namespace {

using Filter = LPTOP_LEVEL_EXCEPTION_FILTER;

// What the filter needs. It can be called at any time once it was set, also after the end.
constinit std::atomic<CrashReporter*> reporter_at_work{nullptr};
constinit std::atomic<int> faults_in_filter{0};
constinit std::array<std::atomic<Filter>, 4> filters_before{};

template <std::size_t place>
LONG WINAPI FilterFault(EXCEPTION_POINTERS* fault) noexcept {
    ++faults_in_filter;
    CrashReporter* const reporter = reporter_at_work;
    const bool reported = reporter != nullptr && reporter->Report(*fault);
    const Filter before = filters_before[place];
    const LONG verdict = before != nullptr ? before(fault) : EXCEPTION_CONTINUE_SEARCH;
    // A reporter that has reported is never destroyed.
    if (reported && verdict == EXCEPTION_CONTINUE_EXECUTION) reporter->Outlived();
    --faults_in_filter;
    return verdict;
}

// One that was left behind may be called by those that the next one calls, and goes on where it
// went before: the next is another function.
constexpr std::array<Filter, filters_before.size()> kFilters{FilterFault<0>, FilterFault<1>,
                                                             FilterFault<2>, FilterFault<3>};

// Outlook's thread alone has the rest.
constinit int reportings = 0;
constinit std::terminate_handler terminate_before = nullptr;
constinit std::size_t filter_place = 0;       // in kFilters, of the one that was set last
constinit Filter filter_over_ours = nullptr;  // in force when that one was left behind

void SetFilter(const vek::trace::TracerPtr& tracer) noexcept {
    const Filter in_force = ::SetUnhandledExceptionFilter(kFilters[filter_place]);
    if (in_force == kFilters[filter_place]) return;
    if (filter_over_ours == nullptr) {
        filters_before[filter_place] = in_force;
    } else if (in_force == filter_over_ours || filter_place + 1 == kFilters.size()) {
        // That one calls ours already; ours must not call it.
        ::SetUnhandledExceptionFilter(in_force);
    } else {
        filters_before[++filter_place] = in_force;
        ::SetUnhandledExceptionFilter(kFilters[filter_place]);
        vek::trace::Write(tracer, vek::trace::level::kWarning,
                          "Exception filter is set anew, another is in force than it was left "
                          "behind");
    }
}

// False, and nothing is changed, when ours is not the one in force.
bool PutFilterBack() noexcept {
    const Filter in_force = ::SetUnhandledExceptionFilter(filters_before[filter_place]);
    const bool ours = in_force == kFilters[filter_place];
    filter_over_ours = ours ? nullptr : in_force;
    if (!ours) ::SetUnhandledExceptionFilter(in_force);
    return ours;
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
                         reinterpret_cast<LPCWSTR>(kFilters[0]), &module);
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

void StartReporting(const std::optional<std::string>& trace_folder) {
    auto reporter =
        std::make_unique<CrashReporter>(vek::trace::ProcessTracer(), DumpFolder(trace_folder));
    KeepStackForOverflow();
    SetFilter(reporter->tracer());
    terminate_before = std::set_terminate(RaiseTerminated);
    reporter_at_work = reporter.release();
}

void EndReporting() noexcept {
    std::set_terminate(terminate_before);
    std::unique_ptr<CrashReporter> reporter(reporter_at_work.exchange(nullptr));
    if (!PutFilterBack()) {
        KeepModule();
        vek::trace::Write(reporter->tracer(), vek::trace::level::kWarning,
                          "Exception filter is not the one in force, module stays loaded");
    }
    // A fault may stay there for long: the filter before it may ask the user.
    if (faults_in_filter != 0 || reporter->busy()) {
        KeepModule();
        static_cast<void>(reporter.release());
    }
}

}  // namespace

CrashReporting::CrashReporting(const std::optional<std::string>& trace_folder) {
    if (reportings == 0) StartReporting(trace_folder);
    ++reportings;
}

CrashReporting::~CrashReporting() {
    if (--reportings == 0) EndReporting();
}

}  // namespace plugins::dll
