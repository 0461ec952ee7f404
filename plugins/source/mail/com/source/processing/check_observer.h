#pragma once

// Tells programs what became of each message, as the trace tells people.

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/core/result.h"

namespace plugins::mail_processing {

// Belongs to one message on one road. Numbers are given from 1 and never twice by one observer.
using check_number_t = std::uint64_t;

// A check, begun or not, as an observer is told of it.
struct ObservedCheck {
    check_number_t number = 0;
    // Hexadecimal digits; empty where the road does not know the id. Valid during the call.
    std::u16string_view entry_id{};
};

// Why a message is not checked.
enum class SkipReason : std::uint8_t {
    kNotWanted,        // the settings, or a policy, say no to this kind of event
    kReadInProgress,   // Outlook raised the event from within the read of a message
    kSendInProgress,   // ... from within the sending of one
    kAddInProgress,    // ... from within the adding of one to a folder
    kInBackground,     // the background thread has it in hand
    kRecentlyChecked,  // it was checked when it was opened shortly before
    kJustCreated,      // Outlook 2010 shows it right after its creation
    kNotNew,           // it was added to a folder, but not created just now
    kNotSaved,         // it is being written
    kNoEntryId,        // it cannot be queued without one
    kAlreadyQueued,    // it was announced twice; the first announcement counts
    kClosing,          // Outlook is closing, or the background thread has ended
    kNoMapi,           // MAPI could not be initialised for the background
    kPluginDisabled,   // the plug-in was switched off while the message was queued
    kFailed,           // the product could not be asked or a call of Outlook failed
};

// Is told of every message that an event of Outlook brings: OnSkipped alone, OnBegun and OnEnded,
// or OnQueued and then either. Each is told on the thread where it happens, so several may be told
// at once, but those of one number come in their order. Operations return soon and call nothing of
// the plug-in, which may hold a lock meanwhile. This class does nothing with what it is told.
class CheckObserver {
public:
    CheckObserver() = default;
    virtual ~CheckObserver() = default;
    CheckObserver(const CheckObserver&) = delete;
    CheckObserver& operator=(const CheckObserver&) = delete;

    // The background thread will check the message.
    virtual void OnQueued(const ObservedCheck& /*check*/) noexcept {}
    virtual void OnBegun(const ObservedCheck& /*check*/) noexcept {}
    // `code` is the scanner's, or that of the failure that kept the message from the scanner. A
    // message whose thread was ended by force ends with kUnspecifiedError, without its entry id and
    // perhaps before its check had begun.
    virtual void OnEnded(const ObservedCheck& /*check*/, vek::result_t /*code*/) noexcept {}
    // `code` is kOk unless the reason is kFailed.
    virtual void OnSkipped(const ObservedCheck& /*check*/, SkipReason /*reason*/,
                           vek::result_t /*code*/) noexcept {}

    // The number of a new check. Any thread.
    check_number_t NewNumber() noexcept { return ++last_number_; }

private:
    std::atomic<check_number_t> last_number_{0};
};

// The observer of those who have none.
inline CheckObserver& NoObserver() noexcept {
    static vek::NeverDestroyed<CheckObserver> none;
    return *none;
}

// One message on a road that decides whether it is checked: tells why it is not, at most once, and
// nothing more after the message was handed on. For one thread.
class PendingCheck {
public:
    explicit PendingCheck(CheckObserver& observer, std::u16string_view entry_id = {}) noexcept
        : PendingCheck(observer, {observer.NewNumber(), entry_id}) {}
    PendingCheck(CheckObserver& observer, const ObservedCheck& check) noexcept
        : observer_(observer), check_(check) {}
    PendingCheck(const PendingCheck&) = delete;
    PendingCheck& operator=(const PendingCheck&) = delete;

    // For a road that learns the id on its way.
    void SetEntryId(std::u16string entry_id) noexcept {
        entry_id_ = std::move(entry_id);
        check_.entry_id = entry_id_;
    }

    void Skip(SkipReason reason, vek::result_t code = vek::result::kOk) noexcept {
        if (!settled_) observer_.OnSkipped(check_, reason, code);
        settled_ = true;
    }

    const ObservedCheck& check() const noexcept { return check_; }

    // To be called for the processor or the queue that tells from now on what becomes of the
    // message.
    const ObservedCheck& HandOn() noexcept {
        settled_ = true;
        return check_;
    }

private:
    CheckObserver& observer_;
    std::u16string entry_id_;  // when it was set
    ObservedCheck check_;
    bool settled_ = false;
};

}  // namespace plugins::mail_processing
