#include "module/crash_reporter.h"

#include <cstdint>
#include <utility>

#include "internal/helpers/hresult_exception.h"

namespace plugins::dll {
namespace {

using vek::platform::UniqueHandle;
namespace level = vek::trace::level;

// How long the dump writer's end is waited for, in milliseconds.
constexpr DWORD kWriterPatience = 120'000;

// And its start: a thread that stands with the heap's lock holds that up for good.
constexpr DWORD kStartPatience = 20'000;

// How long the process's end of a reported fault is waited for by the next one.
constexpr DWORD kEndPatience = kStartPatience + kWriterPatience + 20'000;

UniqueHandle NewEvent() {
    UniqueHandle event(::CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!event) helpers::ThrowLastError();
    return event;
}

bool IsOverflow(const EXCEPTION_POINTERS& fault) noexcept {
    return fault.ExceptionRecord->ExceptionCode == EXCEPTION_STACK_OVERFLOW;
}

}  // namespace

CrashReporter::CrashReporter(vek::trace::TracerPtr tracer, std::string_view dump_folder)
    : tracer_(std::move(tracer)),
      writer_(origin_.module_path(), dump_folder),
      error_reporting_(vek::platform::TheLibraryLoader().Load("faultrep.dll")),
      stop_(NewEvent()),
      requested_(NewEvent()),
      begun_(NewEvent()),
      ended_(NewEvent()),
      hold_(vek::platform::ModuleHold::Take()) {
    constexpr SIZE_T kStackSize = 256 << 10;
    if (error_reporting_ != nullptr) {
        report_fault_ = reinterpret_cast<pfn_REPORTFAULT>(error_reporting_->Find("ReportFault"));
    }
    thread_ = UniqueHandle(::CreateThread(nullptr, kStackSize, Run, this,
                                          STACK_SIZE_PARAM_IS_A_RESERVATION, &thread_id_));
    if (!thread_) helpers::ThrowLastError();
}

CrashReporter::~CrashReporter() {
    ::SetEvent(stop_.get());
    ::WaitForSingleObject(thread_.get(), INFINITE);
}

bool CrashReporter::Report(EXCEPTION_POINTERS& fault) noexcept {
    const DWORD thread = ::GetCurrentThreadId();
    if (thread == thread_id_) GiveUp();
    if (!Claim(thread)) return false;

    request_ = {&fault, thread};
    ours_ = false;
    ::SetEvent(requested_.get());
    const bool begun = Await(begun_, kStartPatience);
    const bool ended = begun && Await(ended_, INFINITE);
    if (begun && !ours_) {
        DWORD server = thread;
        server_.compare_exchange_strong(server, kNobody);
        return false;
    }
    if (ended && !IsOverflow(fault)) TellErrorReporting();
    return true;
}

// Makes `thread` the one whose fault is looked at. While another's is, waits for the process to end
// of that: were it to end of this thread's, the dump would not be complete, and the exit code not
// the first fault's. A process that does not end has outlived it.
bool CrashReporter::Claim(DWORD thread) noexcept {
    constexpr DWORD kPause = 20;
    const ULONGLONG begun = ::GetTickCount64();
    for (;;) {
        DWORD server = kNobody;
        if (server_.compare_exchange_strong(server, thread)) return true;
        if (server == thread || server == kServed) return false;
        if (::GetTickCount64() - begun > kEndPatience) {
            server_.compare_exchange_strong(server, kServed);
            return false;
        }
        ::Sleep(kPause);
    }
}

// Waits also for the reporting thread to be gone: when a process exits, the other threads end
// first.
bool CrashReporter::Await(const UniqueHandle& event, DWORD patience) const noexcept {
    const HANDLE either[] = {event.get(), thread_.get()};
    return ::WaitForMultipleObjects(2, either, FALSE, patience) == WAIT_OBJECT_0;
}

// The reporting thread has a fault of its own, of a damaged stack for one: the process is left to
// the fault that it looks at.
void CrashReporter::GiveUp() noexcept {
    server_ = kServed;
    ::SetEvent(begun_.get());
    ::SetEvent(ended_.get());
    for (;;) ::Sleep(INFINITE);
}

DWORD WINAPI CrashReporter::Run(void* reporter) noexcept {
    auto* const self = static_cast<CrashReporter*>(reporter);
    vek::platform::ModuleHold hold = std::move(self->hold_);
    const HANDLE wakers[] = {self->stop_.get(), self->requested_.get()};
    while (::WaitForMultipleObjects(2, wakers, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
        self->Answer();
    }
    hold.LetGoAndExitThread();
}

void CrashReporter::Answer() noexcept {
    const bool overflow = IsOverflow(*request_.fault);
    ours_ = origin_.IsOurs(*request_.fault);
    const UniqueHandle writer = ours_ ? StartWriter() : UniqueHandle();
    ::SetEvent(begun_.get());
    if (writer) AwaitWriter(writer);
    if (ours_ && overflow) TellErrorReporting();
    ::SetEvent(ended_.get());
}

UniqueHandle CrashReporter::StartWriter() noexcept {
    using vek::trace::Hex;
    const EXCEPTION_RECORD& record = *request_.fault->ExceptionRecord;
    writer_.SetFault(request_.thread, request_.fault);
    Trace(level::kFact, "Start dump writer process: exception ", Hex(record.ExceptionCode), " at ",
          Hex(reinterpret_cast<std::uintptr_t>(record.ExceptionAddress)), ", thread ",
          request_.thread);
    Trace(level::kFact, "Dump writer command line: ", writer_.command_line());
    UniqueHandle writer = writer_.Start();
    if (!writer) Trace(level::kError, "Dump writer is not started, error ", ::GetLastError());
    return writer;
}

void CrashReporter::AwaitWriter(const UniqueHandle& writer) noexcept {
    if (::WaitForSingleObject(writer.get(), kWriterPatience) != WAIT_OBJECT_0) {
        Trace(level::kError, "Dump writer has not ended in ", kWriterPatience, " ms");
        return;
    }
    DWORD code = 0;
    ::GetExitCodeProcess(writer.get(), &code);
    Trace(code == 0 ? level::kFact : level::kError, "Dump writer has ended with code ", code);
}

void CrashReporter::TellErrorReporting() noexcept {
    if (report_fault_ != nullptr) report_fault_(request_.fault, 0);
}

}  // namespace plugins::dll
