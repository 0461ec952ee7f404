#include "sandbox/outlook/host/outside_rows.h"

#include <windows.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "mapi/property_tags.h"
#include "vek/core/result.h"

namespace sandbox::host {
namespace {

namespace tag = plugins::mapi::tag;
using outlook::MessageRecord;
using outlook::PropertyValue;

// After 1 January 2040 there is no mail but the scenario's.
constexpr std::int64_t kFirstMark = 138'534'624'000'000'000;
constexpr std::int64_t kSecond = 10'000'000;

// Nothing has happened for so long: nothing is under way, and what was announced is not fetched.
constexpr std::chrono::milliseconds kQuiet{300};
constexpr std::chrono::milliseconds kNotFetched{1500};

// As the header summary has it.
std::string LocalText(std::int64_t time) {
    FILETIME utc{static_cast<DWORD>(time), static_cast<DWORD>(time >> 32)};
    FILETIME local{};
    SYSTEMTIME parts{};
    ::FileTimeToLocalFileTime(&utc, &local);
    ::FileTimeToSystemTime(&local, &parts);
    char text[32];
    std::snprintf(text, sizeof text, "%04u/%02u/%02u %02u:%02u:%02u", unsigned{parts.wYear},
                  unsigned{parts.wMonth}, unsigned{parts.wDay}, unsigned{parts.wHour},
                  unsigned{parts.wMinute}, unsigned{parts.wSecond});
    return text;
}

// The property that a header summary takes its time from.
ULONG TimeTag(const MessageRecord& record) {
    return record.properties.Find(tag::kProviderSubmitTime) != nullptr ? tag::kProviderSubmitTime
                                                                       : tag::kClientSubmitTime;
}

}  // namespace

void SubmitTimes::Mark(MessageRecord& record) {
    const std::int64_t time = kFirstMark + ++count_ * kSecond;
    record.properties.Set(TimeTag(record), PropertyValue::Time(time));
    last_ = LocalText(time);
}

MessageRecord SubmitTimes::Unmarked(MessageRecord record, const MessageRecord& original) {
    const ULONG property = TimeTag(original);
    const PropertyValue* const marked = record.properties.Find(property);
    if (marked == nullptr || marked->number() <= kFirstMark) return record;
    if (const PropertyValue* const value = original.properties.Find(property))
        record.properties.Set(property, *value);
    else
        record.properties.Erase(property);
    return record;
}

OutsideRows::Message* OutsideRows::WithId(const std::string& entry_id) {
    if (!entry_id.empty())
        for (auto& [time, message] : messages_)
            if (message.entry_id == entry_id) return &message;
    return nullptr;
}

std::size_t OutsideRows::Begin(std::string event, std::string entry_id) {
    Collect();
    const bool is_new = event.starts_with("deliver ") || event.starts_with("send ");
    const bool is_delivery = event.starts_with("deliver ");
    const std::size_t row = EventRows::Begin(std::move(event), entry_id);
    const std::lock_guard lock(mutex_);
    active_ = Clock::now();
    if (is_new) {
        messages_[times_.last()] = {row, entry_id, times_.last()};
        if (is_delivery) waiting_.insert(entry_id);
    }
    const Message* const message = is_new ? &messages_[times_.last()] : WithId(entry_id);
    open_rows_[row] = message != nullptr ? message->time : std::string();
    return row;
}

void OutsideRows::End(std::size_t row, std::string entry_id) {
    {
        const std::lock_guard lock(mutex_);
        CollectLocked();
        active_ = Clock::now();
        const std::string time = std::exchange(open_rows_[row], {});
        open_rows_.erase(row);
        if (!entry_id.empty() && messages_.contains(time)) messages_[time].entry_id = entry_id;
    }
    EventRows::End(row, std::move(entry_id));
}

bool OutsideRows::IsIdle() {
    const std::lock_guard lock(mutex_);
    CollectLocked();
    return Clock::now() - active_ > (waiting_.empty() ? kQuiet : kNotFetched);
}

void OutsideRows::OnOpened(const std::string& entry_id) {
    if (std::this_thread::get_id() == outlook_) return;
    const std::lock_guard lock(mutex_);
    CollectLocked();
    active_ = Clock::now();
    waiting_.erase(entry_id);
    in_background_ = entry_id;
    if (const Message* const message = WithId(entry_id)) At(message->row).queued = true;
}

void OutsideRows::Collect() {
    const std::lock_guard lock(mutex_);
    CollectLocked();
}

void OutsideRows::OnProductEnded() {
    const std::lock_guard lock(mutex_);
    CollectLocked();
    if (const Message* const message = WithId(std::exchange(in_background_, {})))
        ++At(message->row).cut_off;
}

void OutsideRows::OnProductStarted() {
    const std::lock_guard lock(mutex_);
    read_ = 0;
    CollectLocked();
}

void OutsideRows::CollectLocked() {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(reports_, error);
    if (error || size == 0) return;
    std::ifstream file(reports_, std::ios::binary);
    // A product that others start begins its reports anew, unnoticed.
    std::string first;
    if (!std::getline(file, first) || file.eof()) return;
    if (first_ != first) read_ = 0;
    first_ = first;
    file.seekg(static_cast<std::streamoff>(read_));
    for (std::string line; std::getline(file, line) && !file.eof();) {
        read_ += line.size() + 1;
        const auto report = nlohmann::json::parse(line);
        const std::string summary = report.at("summary");
        constexpr std::string_view kTime = "[Time:";
        const std::size_t at = summary.rfind(kTime);
        const std::string time = at == std::string::npos
                                     ? std::string()
                                     : summary.substr(at + kTime.size(), LocalText(0).size());
        Add(time, report.at("incoming"), report.at("result"));
    }
}

// The summary of the message could not be had: the check was of the one that is in the background
// or of the one that Outlook's thread is at.
void OutsideRows::AddNameless() {
    if (const Message* const message = WithId(in_background_)) ++At(message->row).cut_off;
    if (!open_rows_.empty()) ++At(open_rows_.rbegin()->first).cut_off;
}

void OutsideRows::Add(const std::string& time, bool incoming, std::int32_t result) {
    ++reported_;
    active_ = Clock::now();
    const auto message = messages_.find(time);
    if (message == messages_.end()) return AddNameless();
    std::size_t where = message->second.row;
    bool in_background = false;
    if (incoming) {
        in_background = !in_background_.empty() && in_background_ == message->second.entry_id;
        if (in_background) {
            in_background_.clear();
        } else {
            // The innermost event of the message that Outlook's thread is in.
            for (const auto& [row, marked] : open_rows_)
                if (marked == time) where = row;
        }
    }
    demo::Row& row = At(where);
    ++row.checks;
    row.in_background |= in_background;
    if (vek::Failed(static_cast<vek::result_t>(result))) {
        ++row.failed_checks;
        char code[32];
        std::snprintf(code, sizeof code, "result=0x%08X", static_cast<unsigned>(result));
        demo::AddOnce(row.failures, code);
    }
}

}  // namespace sandbox::host
