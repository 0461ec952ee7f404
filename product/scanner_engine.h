#pragma once

// The scanner: reads and rewrites a message through the interfaces that the plug-in offers.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "private_include/common/mail_message.h"
#include "product/content_engine.h"
#include "product/content_search.h"
#include "product/kept_store.h"
#include "product/message_facts.h"
#include "product/notice_texts.h"
#include "product/rules.h"
#include "product/scan_report.h"

namespace reference_product {

// Gives the engine that looks into the contents of an account's next message, null for the rules
// alone.
// Raises std::exception when there should be one and is none; nothing is then checked by it.
using EngineSource = std::function<std::shared_ptr<ContentEngine>(const std::string& account)>;

// Checks messages by rules, and their contents by an engine. Immutable: checks may run on any
// threads, several at once.
class ScannerEngine {
public:
    // Without rules, it looks for the EICAR test string alone, beside what an engine looks for.
    // `engine` is asked by each check, on its thread.
    explicit ScannerEngine(RuleSet rules = {}, EngineSource engine = {}, GatherLimits limits = {});

    ScannerEngine(const ScannerEngine&) = delete;
    ScannerEngine& operator=(const ScannerEngine&) = delete;

    // The version of its rules: the same for the same rules alone.
    std::uint64_t version() const noexcept { return rules_.version; }

    // What a clean message is remembered for: the same while the same would be found. Nothing while
    // that is not known of the engine.
    std::optional<std::uint64_t> CleanVersion() const;

    // Checks one message and makes the changes that the findings demand, also where some of the
    // message's operations are not implemented. What is deleted or replaced is kept first: what
    // cannot be kept is left as it is. `texts` is asked when there is a notice to make. Nothing of
    // the message is held when it returns. Raises only for want of memory: failures of the
    // message's operations are in the report.
    ScanReport Check(bool incoming, plugins::mail_processing::IMailMessage& message,
                     const KeptFor& kept = {}, const NoticeSource& texts = {}) const;

private:
    std::shared_ptr<ContentEngine> EngineNow(const std::string& account,
                                             std::string& trouble) const;

    RuleSet rules_;
    ContentSearch search_;
    EngineSource engine_;
    GatherLimits limits_;
};

}  // namespace reference_product
