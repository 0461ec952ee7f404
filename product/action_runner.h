#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "private_include/common/mail_message.h"
#include "product/callback_log.h"
#include "product/content_reader.h"
#include "product/kept_store.h"
#include "product/message_facts.h"
#include "product/rule_match.h"

namespace reference_product {

inline constexpr std::u16string_view kInfectedPrefix = u"[INFECTED] ";
inline constexpr std::string_view kInfectedNotice =
    "This message carried the EICAR test string. Infected attachments were replaced.";
inline constexpr std::string_view kInfectedReplacement =
    "This attachment carried the EICAR test string and was removed.\r\n";

// Collects the actions on one message, then runs them: the subject is written once however many
// rules change it, and an attachment that is to be deleted is not rewritten before. What is deleted
// or replaced is kept first, or left as it is. For one thread.
class ActionRunner {
public:
    // Each argument must outlive the runner.
    ActionRunner(plugins::mail_processing::IMailMessage& message, MessageFacts& facts,
                 ContentReader& contents, CallbackLog& log, const KeptFor& kept);

    // Adds the actions of a rule, which must outlive the runner.
    void Add(const RuleMatch& match);
    // Adds the mark, the notice and the replacement of infected attachments.
    void AddInfection();
    // Runs what was added. Failures go to the log.
    void Run();

private:
    struct AttachmentPlan {
        bool remove = false;
        std::optional<std::string> content;
        std::vector<std::string> name_forms;
        std::string reason;  // of its end or its new content
    };

    void AddOne(const Action& action, const RuleMatch& match);
    void AddNotice(std::string_view notice);

    void RunSubject();
    void RunHeader(const Action& action);
    void RunNotices();
    std::optional<std::uint32_t> Keep(AttachmentFacts& attachment, const AttachmentPlan& plan);
    void RunAttachment(AttachmentFacts& attachment, const AttachmentPlan& plan);

    plugins::mail_processing::IMailMessage& message_;
    MessageFacts& facts_;
    ContentReader& contents_;
    CallbackLog& log_;
    const KeptFor& kept_;

    bool infected_ = false;
    std::vector<std::u16string> subject_forms_;
    std::vector<const Action*> plain_actions_;  // properties and headers
    std::vector<std::string_view> notices_;
    std::vector<AttachmentPlan> attachments_;
};

}  // namespace reference_product
