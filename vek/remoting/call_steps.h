#pragma once

#include "vek/core/border.h"
#include "vek/remoting/call.h"
#include "vek/trace/line.h"

namespace vek::remoting {

// Runs the steps of one call, on either side. The first that fails ends the call: what it returned
// or raised is traced and kept, and no later step is run. Used by one thread.
class CallSteps {
public:
    // Both must outlive it.
    CallSteps(const trace::TracerPtr& tracer, const CallTarget& target) noexcept
        : tracer_(tracer), target_(target) {}

    // The code of the step that failed, or of the last.
    result_t result() const noexcept { return result_; }

    // `step` returns a code or nothing. Its failure is traced as `text`, the code and the call.
    template <class Step>
    void Run(const char* text, Step&& step) noexcept {
        if (Failed(result_)) return;
        result_ = AtBorder(step);
        if (Failed(result_)) {
            trace::Write(tracer_, trace::level::kError, text, trace::Hex(result_), target_);
        }
    }

    // The same for a step that traces its failures itself.
    template <class Step>
    void Run(Step&& step) noexcept {
        if (Succeeded(result_)) result_ = AtBorder(step);
    }

private:
    const trace::TracerPtr& tracer_;
    const CallTarget& target_;
    result_t result_ = result::kOk;
};

}  // namespace vek::remoting
