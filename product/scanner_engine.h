#pragma once

// The scanner: reads and rewrites a message through the interfaces that the plug-in offers.

#include "private_include/common/mail_message.h"
#include "product/content_search.h"
#include "product/kept_store.h"
#include "product/rules.h"
#include "product/scan_report.h"

namespace reference_product {

// Checks messages by rules. Immutable: checks may run on any threads, several at once.
class ScannerEngine {
public:
    // Without rules, it looks for the EICAR test string alone.
    explicit ScannerEngine(RuleSet rules = {});

    ScannerEngine(const ScannerEngine&) = delete;
    ScannerEngine& operator=(const ScannerEngine&) = delete;

    // The version of its rules: the same for the same rules alone.
    std::uint64_t version() const noexcept { return rules_.version; }

    // Checks one message and makes the changes that the findings demand, also where some of the
    // message's operations are not implemented. What is deleted or replaced is kept first: what
    // cannot be kept is left as it is. Nothing of the message is held when it returns.
    // Raises only for want of memory: failures of the message's operations are in the report.
    ScanReport Check(bool incoming, plugins::mail_processing::IMailMessage& message,
                     const KeptFor& kept = {}) const;

private:
    RuleSet rules_;
    ContentSearch search_;
};

}  // namespace reference_product
