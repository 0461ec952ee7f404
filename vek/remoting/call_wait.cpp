#include "vek/remoting/call_wait.h"

#include <algorithm>
#include <utility>

#include "vek/platform/clock.h"

namespace vek::remoting {
namespace {

using std::chrono::milliseconds;

thread_local const EventScope* innermost_event = nullptr;
thread_local const CallScope* innermost_scope = nullptr;

milliseconds Now() noexcept { return platform::TheClock().AwakeTime(); }

}  // namespace

milliseconds WaitBudget::left() const noexcept { return std::max(left_.load(), milliseconds{0}); }

void WaitBudget::Spend(milliseconds time) noexcept {
    milliseconds left = left_;
    while (!left_.compare_exchange_weak(left, left - time)) {
    }
}

EventScope::EventScope(WaitBudgetPtr budget) noexcept
    : budget_(std::move(budget)), outer_(std::exchange(innermost_event, this)) {}

EventScope::~EventScope() { innermost_event = outer_; }

WaitBudgetPtr EventScope::Budget() noexcept {
    return innermost_event != nullptr ? innermost_event->budget_ : nullptr;
}

CallScope::CallScope(Kind kind) noexcept
    : kind_(kind), outer_(std::exchange(innermost_scope, this)) {}

CallScope::~CallScope() { innermost_scope = outer_; }

milliseconds CallScope::left() const noexcept {
    return std::max(deadline_ - Now(), milliseconds{0});
}

const CallScope* CallScope::Current() noexcept { return innermost_scope; }

LimitedCalls::LimitedCalls() noexcept
    : CallScope(Kind::kLimited),
      begun_(Now()),
      budget_(outer() == nullptr || outer()->kind() != Kind::kLimited ? EventScope::Budget()
                                                                      : nullptr) {
    const bool is_within = outer() != nullptr && outer()->kind() == Kind::kLimited;
    deadline_ = begun_ + (is_within ? outer()->left() : budget_ ? budget_->left() : kEventWait);
}

LimitedCalls::~LimitedCalls() {
    if (budget_) budget_->Spend(Now() - begun_);
}

}  // namespace vek::remoting
