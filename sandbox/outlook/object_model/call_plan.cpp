#include "sandbox/outlook/object_model/call_plan.h"

#include <utility>

namespace sandbox::outlook {

void CallPlan::FailNth(ObjectCall kind, std::uint32_t nth, HRESULT code) {
    steps_.push_back({kind, Count(kind) + nth, code, {}});
}

void CallPlan::FailNthOfAll(std::uint32_t nth, HRESULT code) {
    steps_.push_back({ObjectCall::kCount, total_ + nth, code, {}});
}

void CallPlan::FailEvery(ObjectCall kind, HRESULT code) { steps_.push_back({kind, 0, code, {}}); }

void CallPlan::RunAtNth(ObjectCall kind, std::uint32_t nth, std::function<void()> action) {
    steps_.push_back({kind, Count(kind) + nth, S_OK, std::move(action)});
}

HRESULT CallPlan::Enter(ObjectCall kind) {
    ++counts_[static_cast<std::size_t>(kind)];
    ++total_;
    HRESULT code = S_OK;
    std::vector<std::function<void()>> actions;
    std::erase_if(steps_, [&](Step& step) {
        const bool concerns = step.kind == kind || step.kind == ObjectCall::kCount;
        if (!concerns || (step.at != 0 && step.at != CountOf(step.kind))) return false;
        if (step.action) {
            actions.push_back(std::move(step.action));
        } else {
            code = step.code;
        }
        return step.at != 0;
    });
    if (code != S_OK) ++failed_;
    // An action makes calls of its own: nothing of the plan is held meanwhile.
    for (const auto& action : actions) action();
    return code;
}

}  // namespace sandbox::outlook
