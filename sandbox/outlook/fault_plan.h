#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/call.h"

namespace sandbox::outlook {

// Counts calls and decides which of them fail, and what happens within them. `Kind` enumerates the
// kinds of calls and ends with kCount. A success code other than S_OK has a call succeed without
// doing or giving anything. Free-threaded.
template <class Kind>
class CallPlan {
public:
    // The `nth` call of that kind, from 1 and from now on, fails with `code`.
    void FailNth(Kind kind, std::uint32_t nth, HRESULT code) {
        Add({kind, Count(kind) + nth, code, {}});
    }

    // Every call of that kind from now on fails with `code`.
    void FailEvery(Kind kind, HRESULT code) { Add({kind, 0, code, {}}); }

    // The `nth` call of whatever kind, from 1 and from now on, fails with `code`.
    void FailNthOfAll(std::uint32_t nth, HRESULT code) {
        Add({std::nullopt, Total() + nth, code, {}});
    }

    // Within the `nth` call of that kind, from 1 and from now on, `action` runs on its thread; the
    // call goes on afterwards. The action may make calls and raise events.
    void RunAtNth(Kind kind, std::uint32_t nth, std::function<void()> action) {
        Add({kind, Count(kind) + nth, S_OK, std::move(action)});
    }

    // Forgets the plan; the counts stay.
    void Clear() {
        const std::lock_guard lock(mutex_);
        steps_.clear();
        planned_ = false;
    }

    // The kinds of the calls that failed as planned, in their order.
    std::vector<Kind> Failed() const {
        const std::lock_guard lock(mutex_);
        return failed_;
    }

    // Forgets all but the first `count` of these.
    void KeepFailed(std::size_t count) {
        const std::lock_guard lock(mutex_);
        if (count < failed_.size()) failed_.resize(count);
    }

    // How many calls there were, failed ones included.
    std::uint32_t Count(Kind kind) const { return counts_[static_cast<std::size_t>(kind)]; }
    std::uint32_t Total() const {
        return std::accumulate(counts_.begin(), counts_.end(), std::uint32_t{0});
    }

    // For the objects: counts a call and gives S_OK or the code that it fails with.
    HRESULT Enter(Kind kind) {
        const std::uint32_t of_kind = ++counts_[static_cast<std::size_t>(kind)];
        if (!planned_) return S_OK;
        const std::uint32_t of_all = Total();
        HRESULT code = S_OK;
        std::vector<std::function<void()>> actions;
        {
            const std::lock_guard lock(mutex_);
            std::erase_if(steps_, [&](Step& step) {
                if (step.kind && *step.kind != kind) return false;
                if (step.at != 0 && step.at != (step.kind ? of_kind : of_all)) return false;
                if (step.action) {
                    actions.push_back(std::move(step.action));
                } else {
                    code = step.code;
                }
                return step.at != 0;
            });
            if (code != S_OK) failed_.push_back(kind);
        }
        for (const auto& action : actions) action();
        return code;
    }

private:
    struct Step {
        std::optional<Kind> kind;  // any kind without one
        std::uint32_t at;          // of the calls of that kind; 0 for every one
        HRESULT code;
        std::function<void()> action;  // instead of the failure
    };

    void Add(Step step) {
        const std::lock_guard lock(mutex_);
        steps_.push_back(std::move(step));
        planned_ = true;
    }

    // Without a plan, a call costs no more than one count.
    std::array<std::atomic<std::uint32_t>, static_cast<std::size_t>(Kind::kCount)> counts_{};
    std::atomic<bool> planned_ = false;
    mutable std::mutex mutex_;
    std::vector<Step> steps_;
    std::vector<Kind> failed_;
};

// The plan of MAPI's calls, which limits reads besides.
class FaultPlan : public CallPlan<Call> {
public:
    // No read of a stream gives more than `bytes` at once.
    void LimitReads(ULONG bytes) { read_limit_ = bytes; }

    void Clear() {
        CallPlan::Clear();
        read_limit_ = std::numeric_limits<ULONG>::max();
    }

    // For the streams: how much of `wanted` a read may give.
    ULONG ReadLimit(ULONG wanted) const { return std::min<ULONG>(wanted, read_limit_); }

private:
    std::atomic<ULONG> read_limit_ = std::numeric_limits<ULONG>::max();
};

}  // namespace sandbox::outlook
