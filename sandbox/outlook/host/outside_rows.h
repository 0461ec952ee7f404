#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "sandbox/demo/scenario/event_rows.h"
#include "sandbox/outlook/message_record.h"

namespace sandbox::host {

// Gives each message of a scenario a time of submission of its own, so that a check's report tells
// which message it is about.
class SubmitTimes {
public:
    void Mark(outlook::MessageRecord& record);
    // The message as it would be with the time that `original` has.
    static outlook::MessageRecord Unmarked(outlook::MessageRecord record,
                                           const outlook::MessageRecord& original);

    // The text of the last mark, as it is in a report's summary.
    const std::string& last() const { return last_; }

private:
    std::int64_t count_ = 0;
    std::string last_;
};

// The outcome of events as it is seen from outside: by the reports of the product, and by the
// messages that are opened in the store on other threads than Outlook's, one after the other.
// Free-threaded.
class OutsideRows final : public demo::EventRows {
public:
    // `reports` is the product's file; `times` marks each message before its event begins.
    OutsideRows(std::filesystem::path reports, const SubmitTimes& times)
        : reports_(std::move(reports)), times_(times) {}

    std::size_t Begin(std::string event, std::string entry_id = {}) override;
    void End(std::size_t row, std::string entry_id = {}) override;
    bool IsIdle() override;

    // The store opens a message for a session.
    void OnOpened(const std::string& entry_id);
    // Reads what the product has reported until now.
    void Collect();
    // The product's process has ended: what it was checking it will not report.
    void OnProductEnded();
    // It begins its file anew.
    void OnProductStarted();

    std::size_t reported() const { return reported_; }

private:
    // One message.
    struct Message {
        std::size_t row = kNoRow;  // of the event that has brought it
        std::string entry_id;
        std::string time;  // its mark
    };

    void CollectLocked();
    void Add(const std::string& time, bool incoming, std::int32_t result);
    void AddNameless();
    Message* WithId(const std::string& entry_id);

    const std::filesystem::path reports_;
    const SubmitTimes& times_;
    const std::thread::id outlook_ = std::this_thread::get_id();
    std::uintmax_t read_ = 0;  // of the reports' file
    std::string first_;        // its first line
    std::size_t reported_ = 0;
    std::map<std::string, Message> messages_;       // by their marks
    std::map<std::size_t, std::string> open_rows_;  // of Outlook's thread, with their marks
    std::set<std::string> waiting_;  // entry ids that nobody has opened in the background yet
    std::string in_background_;      // the one that was opened there last, until it is reported
    Clock::time_point active_ = Clock::now();
};

}  // namespace sandbox::host
