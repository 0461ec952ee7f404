#include "sandbox/demo/scenario/scoreboard.h"

#include <algorithm>

#include "vek/core/result_text.h"

namespace sandbox::demo {
namespace {

using plugins::mail_processing::SkipReason;

const char* InWords(SkipReason reason) {
    switch (reason) {
        case SkipReason::kNotWanted:
            return "not wanted";
        case SkipReason::kReadInProgress:
            return "within a read";
        case SkipReason::kSendInProgress:
            return "within a send";
        case SkipReason::kAddInProgress:
            return "within an add";
        case SkipReason::kInBackground:
            return "in background now";
        case SkipReason::kRecentlyChecked:
            return "recently checked";
        case SkipReason::kJustCreated:
            return "just created";
        case SkipReason::kNotNew:
            return "not new";
        case SkipReason::kNotSaved:
            return "not saved";
        case SkipReason::kNoEntryId:
            return "no entry id";
        case SkipReason::kAlreadyQueued:
            return "queued already";
        case SkipReason::kClosing:
            return "Outlook is closing";
        case SkipReason::kNoMapi:
            return "no MAPI in background";
        case SkipReason::kPluginDisabled:
            return "plug-in is off";
        case SkipReason::kFailed:
            break;
    }
    return "failed";
}

std::string TextOf(vek::result_t code) {
    std::string text;
    vek::AppendResult(text, code);
    return text;
}

}  // namespace

Scoreboard::OpenCheck& Scoreboard::Find(const ObservedCheck& check) {
    return checks_.try_emplace(check.number, OpenCheck{Innermost(), false}).first->second;
}

void Scoreboard::OnQueued(const ObservedCheck& check) noexcept {
    const std::lock_guard lock(mutex_);
    OpenCheck& found = Find(check);
    found.queued = true;
    At(found.row).queued = true;
}

void Scoreboard::OnBegun(const ObservedCheck& check) noexcept {
    const std::lock_guard lock(mutex_);
    const OpenCheck& found = Find(check);
    Row& row = At(found.row);
    ++row.checks;
    row.in_background |= found.queued;
}

void Scoreboard::OnEnded(const ObservedCheck& check, vek::result_t code) noexcept {
    const std::lock_guard lock(mutex_);
    Row& row = At(Find(check).row);
    if (vek::Failed(code)) {
        ++row.failed_checks;
        AddOnce(row.failures, TextOf(code));
    }
    checks_.erase(check.number);
}

void Scoreboard::OnSkipped(const ObservedCheck& check, SkipReason reason,
                           vek::result_t code) noexcept {
    const std::lock_guard lock(mutex_);
    const OpenCheck& found = Find(check);
    Row& row = At(found.row);
    if (reason == SkipReason::kFailed) {
        AddOnce(row.failures, TextOf(code));
    } else if (found.queued || !row.queued) {
        // Otherwise the message was announced once more by the event that has queued it.
        AddOnce(row.notes, InWords(reason));
    }
    checks_.erase(check.number);
}

bool Scoreboard::IsIdle() {
    const std::lock_guard lock(mutex_);
    return std::ranges::none_of(checks_, [](const auto& each) { return each.second.queued; });
}

}  // namespace sandbox::demo
