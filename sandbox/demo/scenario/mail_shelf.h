#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "sandbox/outlook/message_record.h"

namespace sandbox::demo {

// The mails that a scenario names, converted before.
class MailShelf {
public:
    // `folder` is that of the manifest and its message files. Raises std::runtime_error.
    explicit MailShelf(const std::filesystem::path& folder);

    // By the name of its file, with or without ".eml" and the folder. Raises std::runtime_error
    // when there is none or its message cannot be read.
    const outlook::MessageRecord& Find(const std::string& name);

    std::vector<std::string> names() const;

private:
    std::map<std::string, std::filesystem::path> files_;
    std::map<std::string, outlook::MessageRecord> read_;
};

// A message that a scenario has put into the store.
struct ScenarioMessage {
    std::string mail;
    int number = 0;  // among those of that mail, from 1
    std::string entry_id;
    bool opened = false;  // at some time
    bool open = false;    // now
    int checks = 0;       // that were seen
};

// The messages of a scenario. For one thread at a time.
class Mailbox {
public:
    ScenarioMessage& Add(const std::string& mail, std::string entry_id);

    // The one to open: that number, or the oldest that was not opened yet, or the newest. Null when
    // there is none.
    ScenarioMessage* ToOpen(const std::string& mail, int number);
    // The one to close: that number, or the oldest that is open.
    ScenarioMessage* ToClose(const std::string& mail, int number);
    ScenarioMessage* WithId(const std::string& entry_id);

    std::vector<ScenarioMessage>& messages() { return messages_; }
    void Clear() { messages_.clear(); }

private:
    std::vector<ScenarioMessage> messages_;
    std::map<std::string, int> counts_;
};

}  // namespace sandbox::demo
