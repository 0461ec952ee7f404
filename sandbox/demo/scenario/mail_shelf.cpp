#include "sandbox/demo/scenario/mail_shelf.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "product/state/text_file.h"
#include "sandbox/demo/manifest.h"
#include "sandbox/outlook/message_file.h"

namespace sandbox::demo {
namespace {

std::string StemOf(const std::string& name) {
    return reference_product::PathText(reference_product::PathOf(name).stem());
}

}  // namespace

MailShelf::MailShelf(const std::filesystem::path& folder) {
    for (const Mail& mail : LoadManifest(folder / "manifest.json"))
        files_.insert_or_assign(StemOf(mail.source), folder / mail.message);
}

const outlook::MessageRecord& MailShelf::Find(const std::string& name) {
    const std::string stem = StemOf(name);
    if (const auto read = read_.find(stem); read != read_.end()) return read->second;
    const auto file = files_.find(stem);
    if (file == files_.end()) throw std::runtime_error("there is no mail '" + name + '\'');
    return read_.emplace(stem, outlook::LoadMessageFile(file->second)).first->second;
}

std::vector<std::string> MailShelf::names() const {
    std::vector<std::string> names;
    for (const auto& [name, file] : files_) names.push_back(name);
    return names;
}

ScenarioMessage& Mailbox::Add(const std::string& mail, std::string entry_id) {
    messages_.push_back({mail, ++counts_[mail], std::move(entry_id), false, false, 0});
    return messages_.back();
}

ScenarioMessage* Mailbox::ToOpen(const std::string& mail, int number) {
    ScenarioMessage* newest = nullptr;
    for (ScenarioMessage& message : messages_) {
        if (message.mail != mail) continue;
        if (number != 0 ? message.number == number : !message.opened) return &message;
        newest = &message;
    }
    return number != 0 ? nullptr : newest;
}

ScenarioMessage* Mailbox::ToClose(const std::string& mail, int number) {
    const auto found = std::ranges::find_if(messages_, [&](const ScenarioMessage& message) {
        return message.mail == mail && (number != 0 ? message.number == number : message.open);
    });
    return found == messages_.end() ? nullptr : &*found;
}

ScenarioMessage* Mailbox::WithId(const std::string& entry_id) {
    const auto found = std::ranges::find(messages_, entry_id, &ScenarioMessage::entry_id);
    return found == messages_.end() ? nullptr : &*found;
}

}  // namespace sandbox::demo
