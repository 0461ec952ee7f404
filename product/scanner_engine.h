#pragma once

// The scanner: reads and rewrites a message through the interfaces that the plug-in offers.

#include "private_include/common/mail_message.h"
#include "product/content_search.h"
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

    // Checks one message and makes the changes that the findings demand, also where some of the
    // message's operations are not implemented. Nothing of the message is held when it returns.
    // Raises only for want of memory: failures of the message's operations are in the report.
    ScanReport Check(bool incoming, plugins::mail_processing::IMailMessage& message) const;

private:
    RuleSet rules_;
    ContentSearch search_;
};

}  // namespace reference_product
