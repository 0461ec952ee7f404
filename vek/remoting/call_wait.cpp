#include "vek/remoting/call_wait.h"

#include <algorithm>
#include <utility>

#include "vek/platform/thread_value.h"

namespace vek::remoting {
namespace {

using std::chrono::milliseconds;

platform::ThreadValue<const EventScope*> innermost_event;
platform::ThreadValue<const CallScope*> innermost_scope;

}  // namespace

milliseconds WaitBudget::left() const noexcept { return std::max(left_.load(), milliseconds{0}); }

void WaitBudget::Spend(milliseconds time) noexcept {
    milliseconds left = left_;
    while (!left_.compare_exchange_weak(left, left - time)) {
    }
}

EventScope::EventScope(WaitBudgetPtr budget) noexcept
    : budget_(std::move(budget)), outer_(innermost_event.Exchange(this)) {}

EventScope::~EventScope() { innermost_event.Set(outer_); }

WaitBudgetPtr EventScope::Budget() noexcept {
    const EventScope* const event = innermost_event.Get();
    return event != nullptr ? event->budget_ : nullptr;
}

CallScope::CallScope(Kind kind) noexcept
    : kind_(kind), outer_(innermost_scope.Exchange(this)) {}

CallScope::~CallScope() { innermost_scope.Set(outer_); }

milliseconds CallScope::left() const noexcept {
    return std::max(deadline_ - clock_->AwakeTime(), milliseconds{0});
}

const CallScope* CallScope::Current() noexcept { return innermost_scope.Get(); }

LimitedCalls::LimitedCalls() noexcept
    : CallScope(Kind::kLimited),
      budget_(outer() == nullptr || outer()->kind() != Kind::kLimited ? EventScope::Budget()
                                                                      : nullptr) {
    const auto* const within = outer() != nullptr && outer()->kind() == Kind::kLimited
                                   ? static_cast<const LimitedCalls*>(outer())
                                   : nullptr;
    if (within) clock_ = within->clock_;
    if (budget_) clock_ = &budget_->clock();
    begun_ = clock_->AwakeTime();
    deadline_ = begun_ + (within ? within->left() : budget_ ? budget_->left() : kEventWait);
}

LimitedCalls::~LimitedCalls() {
    if (budget_) budget_->Spend(clock_->AwakeTime() - begun_);
}

}  // namespace vek::remoting
