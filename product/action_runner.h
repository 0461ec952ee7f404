#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "private_include/common/mail_message.h"
#include "product/callback_log.h"
#include "product/content_reader.h"
#include "product/find_notice.h"
#include "product/kept_store.h"
#include "product/message_facts.h"
#include "product/notice_texts.h"
#include "product/rule_match.h"

namespace reference_product {

inline constexpr std::u16string_view kInfectedPrefix = u"[INFECTED] ";

// Collects the actions on one message, then runs them: the subject is written once however many
// rules change it, and an attachment that is to be deleted is not rewritten before. What is deleted
// or replaced is kept first, or left as it is. For one thread.
class ActionRunner {
public:
    // Each argument must outlive the runner.
    ActionRunner(plugins::mail_processing::IMailMessage& message, MessageFacts& facts,
                 ContentReader& contents, CallbackLog& log, const KeptFor& kept,
                 const NoticeSource& texts);

    // Adds the actions of a rule, which must outlive the runner.
    void Add(const RuleMatch& match);
    // After the rules: has what was found treated that no rule on finds is for. The subject gets
    // the mark, an infected attachment is replaced or, where that fails, deleted, and a notice says
    // what was done. Only then are the texts asked for.
    void AddDefaults();
    // Runs what was added. Failures go to the log.
    void Run();

private:
    struct AttachmentPlan {
        bool remove = false;
        std::optional<std::string> content;
        std::vector<std::string> name_forms;
        std::string reason;              // of its end or its new content
        bool has_rule_on_finds = false;  // which says all that is done about them
        bool is_infected = false;        // and none of these
    };

    void AddOne(const Action& action, const RuleMatch& match);
    void AddNotice(std::string_view notice);

    void RunSubject();
    void RunHeader(const Action& action);
    void RunNotice(std::string_view notice);
    std::optional<std::uint32_t> Keep(AttachmentFacts& attachment, const AttachmentPlan& plan);
    bool Delete(AttachmentFacts& attachment);
    DangerousAttachment::Fate TakeAway(AttachmentFacts& attachment, const AttachmentPlan& plan);
    void RunAttachment(std::size_t number);

    plugins::mail_processing::IMailMessage& message_;
    MessageFacts& facts_;
    ContentReader& contents_;
    CallbackLog& log_;
    const KeptFor& kept_;
    const NoticeSource& texts_source_;

    NoticeTexts texts_;  // once there is something to say
    bool infected_ = false;
    bool has_rule_on_body_finds_ = false;
    std::string body_find_;
    std::vector<DangerousAttachment> dangerous_;  // once they were treated
    std::vector<std::u16string> subject_forms_;
    std::vector<const Action*> plain_actions_;  // properties and headers
    std::vector<std::string_view> notices_;
    std::vector<AttachmentPlan> attachments_;
};

}  // namespace reference_product
