#include "product/action_runner.h"

#include <algorithm>
#include <cstdio>

#include "product/text_form.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

constexpr std::u16string_view kSubjectPlaceholder = u"{subject}";
constexpr std::string_view kNamePlaceholder = "{name}";

std::string TagText(std::uint32_t tag) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(tag));
    return text;
}

}  // namespace

ActionRunner::ActionRunner(plugins::mail_processing::IMailMessage& message, MessageFacts& facts,
                           ContentReader& contents, CallbackLog& log)
    : message_(message),
      facts_(facts),
      contents_(contents),
      log_(log),
      attachments_(facts.attachments.size()) {}

void ActionRunner::Add(const RuleMatch& match) {
    for (const Action& action : match.rule->actions) AddOne(action, match);
}

void ActionRunner::AddInfection() {
    infected_ = true;
    AddNotice(kInfectedNotice);
    for (std::size_t i = 0; i < attachments_.size(); ++i) {
        if (facts_.attachments[i].hits.infected) attachments_[i].content = kInfectedReplacement;
    }
}

void ActionRunner::AddOne(const Action& action, const RuleMatch& match) {
    switch (action.kind) {
        case ActionKind::kSetSubject:
            subject_forms_.push_back(vek::ToUtf16(action.text));
            break;
        case ActionKind::kSetProperty:
        case ActionKind::kSetHeader:
        case ActionKind::kAddHeader:
            plain_actions_.push_back(&action);
            break;
        case ActionKind::kAppendNotice:
            AddNotice(action.text);
            break;
        case ActionKind::kRenameAttachment:
            for (const std::size_t i : match.attachments) {
                attachments_[i].name_forms.push_back(action.text);
            }
            break;
        case ActionKind::kDeleteAttachment:
            for (const std::size_t i : match.attachments) attachments_[i].remove = true;
            break;
        case ActionKind::kReplaceAttachment:
            for (const std::size_t i : match.attachments) attachments_[i].content = action.text;
            break;
    }
}

void ActionRunner::AddNotice(std::string_view notice) {
    if (std::ranges::find(notices_, notice) == notices_.end()) notices_.push_back(notice);
}

void ActionRunner::Run() {
    RunSubject();
    for (const Action* action : plain_actions_) RunHeader(*action);
    for (std::size_t i = 0; i < attachments_.size(); ++i) {
        RunAttachment(facts_.attachments[i], attachments_[i]);
    }
    RunNotices();
}

void ActionRunner::RunSubject() {
    // A subject that could not be read must not be overwritten.
    if (!facts_.subject_known) return;
    std::u16string_view old = facts_.subject;
    const bool marked = old.starts_with(kInfectedPrefix);
    if (marked) old.remove_prefix(kInfectedPrefix.size());
    std::u16string subject = Refill<char16_t>(subject_forms_, kSubjectPlaceholder, old);
    if (marked || infected_) subject.insert(0, kInfectedPrefix);
    if (subject == facts_.subject) return;
    if (log_.Change({}, "SetSubject", message_.SetSubject(subject))) {
        log_.Changed("subject \"" + vek::ToUtf8(subject) + '"');
    }
}

void ActionRunner::RunHeader(const Action& action) {
    if (action.kind == ActionKind::kSetProperty) {
        if (log_.Change({}, "SetProperty", message_.SetProperty(action.tag, action.text))) {
            log_.Changed("property " + TagText(action.tag) + " \"" + action.text + '"');
        }
    } else if (action.kind == ActionKind::kSetHeader) {
        // SetHeader appends the line as it is given, so it needs its own end.
        if (log_.Change({}, "SetHeader", message_.SetHeader(action.text + "\r\n"))) {
            log_.Changed("header \"" + action.text + '"');
        }
    } else if (facts_.headers_known &&  // or it may be there
               std::ranges::find(facts_.header_lines, action.text) == facts_.header_lines.end()) {
        if (log_.Change({}, "AddHeader", message_.AddHeader(action.text))) {
            log_.Changed("new header \"" + action.text + '"');
        }
    }
}

void ActionRunner::RunNotices() {
    for (const std::string_view notice : notices_) {
        std::uint32_t outcome = 0;
        if (!log_.Change({}, "AppendNotice", message_.AppendNotice(notice, outcome))) continue;
        if (outcome != 0) {
            log_.Failed({}, "AppendNotice (the message may not be changed)", vek::result::kFalse);
        } else if (!facts_.has_html_body) {
            // The notice goes into the HTML body first; without one the plain body is left alone.
            log_.Failed({}, "AppendNotice (there is no HTML body)", vek::result::kFalse);
        } else {
            log_.Changed("notice \"" + std::string(notice) + '"');
        }
    }
}

void ActionRunner::RunAttachment(AttachmentFacts& attachment, const AttachmentPlan& plan) {
    auto& provider = *attachment.provider;
    const std::string& label = attachment.label;
    if (plan.remove) {
        if (log_.Change(label, "Delete", provider.Delete())) log_.Changed(label + " deleted");
        return;
    }
    if (plan.content && contents_.Replace(provider, label, *plan.content)) {
        log_.Changed(label + " replaced");
    }
    const std::string old = attachment.names.empty() ? std::string() : attachment.names.front();
    const std::string name = Refill<char>(plan.name_forms, kNamePlaceholder, old);
    if (name != old && log_.Change(label, "Rename", provider.Rename(name))) {
        log_.Changed(label + " renamed to \"" + name + '"');
    }
}

}  // namespace reference_product
