#pragma once

// The stand-in scanner: looks at one message through the interfaces it is offered by, and rewrites
// it through them.

#include "private_include/common/mail_message.h"
#include "product/content_search.h"
#include "product/rules.h"
#include "product/scan_report.h"

namespace reference_product {

// Immutable: checks may run on any threads, several at once.
class ScannerEngine {
public:
    // Without rules, it looks for the EICAR test string alone.
    explicit ScannerEngine(RuleSet rules = {});

    ScannerEngine(const ScannerEngine&) = delete;
    ScannerEngine& operator=(const ScannerEngine&) = delete;

    // Checks one message and does what the findings demand. Works with whatever part of the
    // message's operations is implemented. Nothing of the message is held when it returns.
    // Raises only for want of memory: what the message's operations answer is in the report.
    ScanReport Check(bool incoming, plugins::mail_processing::IMailMessage& message) const;

private:
    RuleSet rules_;
    ContentSearch search_;
};

}  // namespace reference_product
