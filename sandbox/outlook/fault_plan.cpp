#include "sandbox/outlook/fault_plan.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace sandbox::outlook {
namespace {

constexpr std::size_t Index(Call kind) { return static_cast<std::size_t>(kind); }

}  // namespace

void FaultPlan::Add(Fault fault) {
    const std::lock_guard lock(mutex_);
    faults_.push_back(std::move(fault));
    planned_ = true;
}

void FaultPlan::FailNth(Call kind, std::uint32_t nth, HRESULT code) {
    Add({kind, counts_[Index(kind)] + nth, code});
}

void FaultPlan::FailEvery(Call kind, HRESULT code) { Add({kind, 0, code}); }

void FaultPlan::FailNthOfAll(std::uint32_t nth, HRESULT code) {
    Add({std::nullopt, Total() + nth, code});
}

void FaultPlan::RunAtNth(Call kind, std::uint32_t nth, std::function<void()> action) {
    Add({kind, counts_[Index(kind)] + nth, S_OK, std::move(action)});
}

void FaultPlan::LimitReads(ULONG bytes) { read_limit_ = bytes; }

void FaultPlan::Clear() {
    const std::lock_guard lock(mutex_);
    faults_.clear();
    planned_ = false;
    read_limit_ = std::numeric_limits<ULONG>::max();
}

std::vector<Call> FaultPlan::Failed() const {
    const std::lock_guard lock(mutex_);
    return failed_;
}

std::uint32_t FaultPlan::Count(Call kind) const { return counts_[Index(kind)]; }

std::uint32_t FaultPlan::Total() const {
    return std::accumulate(counts_.begin(), counts_.end(), std::uint32_t{0});
}

HRESULT FaultPlan::Enter(Call kind) {
    const std::uint32_t of_kind = ++counts_[Index(kind)];
    if (!planned_) return S_OK;
    const std::uint32_t of_all = Total();
    std::unique_lock lock(mutex_);
    for (const Fault& fault : faults_) {
        if (fault.kind && *fault.kind != kind) continue;
        const std::uint32_t now = fault.kind ? of_kind : of_all;
        if (fault.at != 0 && fault.at != now) continue;
        if (fault.action) {
            const auto action = fault.action;
            lock.unlock();
            action();
            return S_OK;
        }
        failed_.push_back(kind);
        return fault.code;
    }
    return S_OK;
}

ULONG FaultPlan::ReadLimit(ULONG wanted) const { return std::min<ULONG>(wanted, read_limit_); }

}  // namespace sandbox::outlook
