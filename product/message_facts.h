#pragma once

// The facts about one message by which rules are decided.

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "private_include/common/mail_message.h"
#include "product/callback_log.h"
#include "product/content_reader.h"
#include "product/content_search.h"
#include "product/engine_checks.h"
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
    std::vector<std::string> finds;  // the names of what is dangerous in it
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
    std::vector<std::string> body_finds;
    bool has_html_body = false;  // and it is not empty
    std::deque<AttachmentFacts> attachments;
};

// How much of a message is looked at. What is beyond is reported as not checked.
struct GatherLimits {
    std::size_t attachments = 10'000;  // that are offered
    // An enumerator that fails for one attachment goes on with the next. After so many failures in
    // a row it is taken for broken. What is not offered is no failure.
    std::size_t failures_in_a_row = 64;
    // After that no other attachment is begun, and no more of a content is read.
    std::chrono::seconds time{120};
};

// Asks a message for the facts that its rules look at, and reads its contents, for the search and
// the engine at once. For one message, on one thread.
class FactsGatherer {
public:
    // Each reference must outlive the gatherer. Without an engine the search is all.
    FactsGatherer(const RuleSet& rules, const ContentSearch& search,
                  std::shared_ptr<ContentEngine> engine, const GatherLimits& limits,
                  ContentReader& reader, CallbackLog& log)
        : rules_(rules),
          search_(search),
          limits_(limits),
          reader_(reader),
          log_(log),
          checks_(std::move(engine)) {}

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
    void GatherAttachment(std::size_t number, AttachmentFacts& facts);
    ContentHits Search(IPropertyProvider& provider, std::string_view label,
                       std::vector<std::string>& finds);
    ContentHits SearchRichText(IPropertyProvider& provider, std::string_view label,
                               std::vector<std::string>& finds);
    void Read(IPropertyProvider& provider, std::string_view label, std::vector<std::string>& finds,
              const ContentReader::Sink& sink);
    void Report(std::string find, std::string_view label, std::vector<std::string>& finds);

    const RuleSet& rules_;
    const ContentSearch& search_;
    const GatherLimits limits_;
    ContentReader& reader_;
    CallbackLog& log_;
    ContentReader::TimePoint deadline_;
    EngineChecks checks_;
};

}  // namespace reference_product
