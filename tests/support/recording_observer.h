#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "processing/check_observer.h"
#include "vek/core/text.h"

namespace tests {

// Keeps what it is told: "3 queued 00FF", "3 begun 00FF", "3 ended 0 00FF", "4 skipped 1 0 00FF",
// the last with the reason's number and the code. Holds the observed to the order of events.
class RecordingObserver final : public plugins::mail_processing::CheckObserver {
public:
    using Check = plugins::mail_processing::ObservedCheck;
    using Reason = plugins::mail_processing::SkipReason;

    void OnQueued(const Check& check) noexcept override { Note(check, "queued", 0); }
    void OnBegun(const Check& check) noexcept override { Note(check, "begun", 1); }
    void OnEnded(const Check& check, vek::result_t code) noexcept override {
        Note(check, "ended " + std::to_string(code), 2);
    }
    void OnSkipped(const Check& check, Reason reason, vek::result_t code) noexcept override {
        Note(check, SkipText(reason, code), 2);
    }

    static std::string SkipText(Reason reason, vek::result_t code = vek::result::kOk) {
        return "skipped " + std::to_string(static_cast<int>(reason)) + ' ' + std::to_string(code);
    }

    // Waits until something was told that begins so and was not taken.
    void WaitFor(std::string_view beginning) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [&] {
            return std::ranges::any_of(
                told_, [&](const std::string& each) { return each.starts_with(beginning); });
        });
    }

    std::vector<std::string> Take() {
        const std::lock_guard guard(lock_);
        return std::exchange(told_, {});
    }

private:
    void Note(const Check& check, const std::string& what, int stage) {
        const std::lock_guard guard(lock_);
        EXPECT_NE(check.number, 0u);
        const auto [last, is_new] = stages_.try_emplace(check.number, -1);
        EXPECT_LT(last->second, stage) << check.number << what;
        last->second = stage;
        told_.push_back(std::to_string(check.number) + ' ' + what + ' ' +
                        vek::ToUtf8(check.entry_id));
        changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::map<plugins::mail_processing::check_number_t, int> stages_;
    std::vector<std::string> told_;
};

}  // namespace tests
