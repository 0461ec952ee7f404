#include "sandbox/outlook/fault_plan.h"

#include <algorithm>

namespace sandbox::outlook {
namespace {

constexpr std::size_t Index(Call kind) { return static_cast<std::size_t>(kind); }

}  // namespace

void FaultPlan::FailNth(Call kind, std::uint32_t nth, HRESULT code) {
    const std::lock_guard lock(mutex_);
    faults_.push_back({kind, counts_[Index(kind)] + nth, code});
}

void FaultPlan::FailEvery(Call kind, HRESULT code) {
    const std::lock_guard lock(mutex_);
    faults_.push_back({kind, 0, code});
}

void FaultPlan::FailNthOfAll(std::uint32_t nth, HRESULT code) {
    const std::lock_guard lock(mutex_);
    faults_.push_back({std::nullopt, total_ + nth, code});
}

void FaultPlan::LimitReads(ULONG bytes) {
    const std::lock_guard lock(mutex_);
    read_limit_ = bytes;
}

void FaultPlan::Clear() {
    const std::lock_guard lock(mutex_);
    faults_.clear();
    read_limit_.reset();
}

std::uint32_t FaultPlan::Count(Call kind) const {
    const std::lock_guard lock(mutex_);
    return counts_[Index(kind)];
}

std::uint32_t FaultPlan::Total() const {
    const std::lock_guard lock(mutex_);
    return total_;
}

HRESULT FaultPlan::Enter(Call kind) {
    const std::lock_guard lock(mutex_);
    const std::uint32_t of_kind = ++counts_[Index(kind)];
    const std::uint32_t of_all = ++total_;
    for (const Fault& fault : faults_) {
        if (fault.kind && *fault.kind != kind) continue;
        const std::uint32_t now = fault.kind ? of_kind : of_all;
        if (fault.at == 0 || fault.at == now) return fault.code;
    }
    return S_OK;
}

ULONG FaultPlan::ReadLimit(ULONG wanted) const {
    const std::lock_guard lock(mutex_);
    return read_limit_ ? std::min(wanted, *read_limit_) : wanted;
}

}  // namespace sandbox::outlook
