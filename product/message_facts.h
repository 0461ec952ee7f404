#pragma once

// The facts about one message by which rules are decided.

#include <string>
#include <string_view>
#include <vector>

#include "private_include/common/mail_message.h"
#include "product/callback_log.h"
#include "product/content_reader.h"
#include "product/content_search.h"
#include "product/rules.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {

// The facts about one attachment.
struct AttachmentFacts {
    vek::RefPtr<plugins::mail_processing::IPropertyProvider> provider;
    std::string label;               // its name in reports: attachment 1 "a.zip"
    std::vector<std::string> names;  // the file name first, when there is one
    std::string type;
    ContentHits hits;
};

// The facts about a message and its attachments.
struct MessageFacts {
    std::string summary;
    std::vector<std::string> senders;  // every form in which the message names its sender
    std::u16string subject;
    bool subject_known = false;             // read, or known to be missing
    bool headers_known = false;             // likewise
    std::vector<std::string> header_lines;  // unfolded
    ContentHits bodies;
    bool has_html_body = false;  // and it is not empty
    std::vector<AttachmentFacts> attachments;
};

// Asks a message for the facts that its rules look at, and reads its contents. For one thread.
class FactsGatherer {
public:
    // Each argument must outlive the gatherer.
    FactsGatherer(const RuleSet& rules, const ContentSearch& search, ContentReader& reader,
                  CallbackLog& log) noexcept
        : rules_(rules), search_(search), reader_(reader), log_(log) {}

    // Raises only for want of memory: failures of the message's operations go to the log.
    MessageFacts Gather(plugins::mail_processing::IMailMessage& message);

private:
    using IMailMessage = plugins::mail_processing::IMailMessage;
    using IPropertyProvider = plugins::mail_processing::IPropertyProvider;
    using IAttachmentsEnum = plugins::mail_processing::IAttachmentsEnum;

    void GatherSenders(IMailMessage& message, MessageFacts& facts);
    void GatherHeaders(IMailMessage& message, MessageFacts& facts);
    void GatherBodies(IMailMessage& message, MessageFacts& facts);
    void GatherAttachments(IMailMessage& message, MessageFacts& facts);
    AttachmentFacts GatherAttachment(vek::RefPtr<IPropertyProvider> provider, std::size_t number);
    ContentHits Search(IPropertyProvider& provider, std::string_view label);
    ContentHits SearchRichText(IPropertyProvider& provider, std::string_view label);
    void Report(const ContentHits& hits, std::string_view label);

    const RuleSet& rules_;
    const ContentSearch& search_;
    ContentReader& reader_;
    CallbackLog& log_;
};

}  // namespace reference_product
