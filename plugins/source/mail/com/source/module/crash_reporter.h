#pragma once

#include <windows.h>

#include <errorrep.h>

#include <atomic>
#include <memory>
#include <string_view>

#include "module/crash_dump_writer.h"
#include "module/crash_origin.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/library_loader.h"
#include "vek/platform/module_win32.h"
#include "vek/trace/fixed_line.h"
#include "vek/trace/tracer.h"

namespace plugins::dll {

// All that the report of one fault needs, and the thread that looks at faults and makes it: the
// faulting one may have no stack left, or a damaged one. The thread holds the module.
class CrashReporter {
public:
    // `dump_folder` is in UTF-8. Raises HResultCodeException, or for want of memory.
    CrashReporter(vek::trace::TracerPtr tracer, std::string_view dump_folder);

    // Ends the thread. Not to be called within DllMain, nor while it is busy.
    ~CrashReporter();

    CrashReporter(const CrashReporter&) = delete;
    CrashReporter& operator=(const CrashReporter&) = delete;

    // Reports a fault of ours, on the thread that has it, and gives whether it did: one fault is
    // reported, and others' never. Allocates nothing. While one is reported, a second thread's
    // fault stands here, ours or not, unless the process outlives the first.
    bool Report(EXCEPTION_POINTERS& fault) noexcept;

    // To be called when the process goes on after the reported fault.
    void Outlived() noexcept { server_ = kServed; }

    // Whether a fault is being looked at, or was reported, so that this must stay.
    bool busy() const noexcept { return server_ != kNobody; }

    const vek::trace::TracerPtr& tracer() const noexcept { return tracer_; }

private:
    struct Request {
        EXCEPTION_POINTERS* fault;
        DWORD thread;
    };

    // Where server_ is no thread's id.
    static constexpr DWORD kNobody = 0;
    static constexpr DWORD kServed = ~DWORD{0};

    static DWORD WINAPI Run(void* reporter) noexcept;
    bool Claim(DWORD thread) noexcept;
    bool Await(const vek::platform::UniqueHandle& event, DWORD patience) const noexcept;
    [[noreturn]] void GiveUp() noexcept;
    void Answer() noexcept;
    vek::platform::UniqueHandle StartWriter() noexcept;
    void AwaitWriter(const vek::platform::UniqueHandle& writer) noexcept;
    void TellErrorReporting() noexcept;

    template <class... Pieces>
    void Trace(vek::trace::level_t level, const Pieces&... pieces) noexcept {
        if (!vek::trace::IsEnabled(tracer_, level)) return;
        tracer_->TryWrite(level, vek::trace::FixedLine<4096>(pieces...).text());
    }

    const vek::trace::TracerPtr tracer_;
    const CrashOrigin origin_;
    CrashDumpWriter writer_;
    const std::unique_ptr<vek::platform::Library> error_reporting_;
    pfn_REPORTFAULT report_fault_ = nullptr;

    vek::platform::UniqueHandle stop_;
    vek::platform::UniqueHandle requested_;
    vek::platform::UniqueHandle begun_;  // the dump writer is started, or will not be
    vek::platform::UniqueHandle ended_;

    std::atomic<DWORD> server_{kNobody};  // the thread whose fault is looked at
    Request request_{};                   // the server's, from requested_ to ended_
    std::atomic<bool> ours_{false};       // whether its fault is ours

    vek::platform::ModuleHold hold_;  // the thread's, who takes it over
    vek::platform::UniqueHandle thread_;
    DWORD thread_id_ = 0;
};

}  // namespace plugins::dll
