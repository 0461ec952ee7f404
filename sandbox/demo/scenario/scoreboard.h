#pragma once

#include <map>

#include "processing/check_observer.h"
#include "sandbox/demo/scenario/event_rows.h"

namespace sandbox::demo {

// Observes the add-in and writes down to which event each check belongs: to the innermost one that
// Outlook's thread is in when the check's number is first told. Free-threaded.
class Scoreboard final : public EventRows, public plugins::mail_processing::CheckObserver {
public:
    using ObservedCheck = plugins::mail_processing::ObservedCheck;
    using SkipReason = plugins::mail_processing::SkipReason;

    void OnQueued(const ObservedCheck& check) noexcept override;
    void OnBegun(const ObservedCheck& check) noexcept override;
    void OnEnded(const ObservedCheck& check, vek::result_t code) noexcept override;
    void OnSkipped(const ObservedCheck& check, SkipReason reason,
                   vek::result_t code) noexcept override;

    bool IsIdle() override;

private:
    // A check between its first and its last event.
    struct OpenCheck {
        std::size_t row;
        bool queued;
    };

    OpenCheck& Find(const ObservedCheck& check);

    std::map<plugins::mail_processing::check_number_t, OpenCheck> checks_;
};

}  // namespace sandbox::demo
