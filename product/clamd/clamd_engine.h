#pragma once

// The engine over clamd.

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "product/content_engine.h"
#include "product/policy/engine_address.h"
#include "product/product_log.h"
#include "vek/platform/clock.h"

namespace reference_product {

// Where clamd is asked, and how long a content and a message may take from their beginning.
struct ClamdOptions {
    std::vector<EngineAddress> addresses;  // in the order in which they are tried
    std::chrono::milliseconds per_part{10'000};
    std::chrono::milliseconds per_mail{20'000};
    std::size_t streams = 8;  // at once
};

// The engine as accounts share it: the messages of one leave some of its streams to the others'.
class AccountsEngine : public ContentEngine {
public:
    virtual std::unique_ptr<MailContents> BeginMailOf(std::string account) = 0;
    std::unique_ptr<MailContents> BeginMail() final { return BeginMailOf({}); }
};

// Makes the engine, which must outlive its messages' contents; `clock` must outlive the engine. It
// asks clamd for its version at once and then from time to time, and tells the log when it learns
// another or cannot check. Its end waits for no daemon. Raises std::system_error when no thread can
// be started.
std::unique_ptr<AccountsEngine> MakeClamdEngine(ClamdOptions options, Log log,
                                                vek::platform::Clock& clock);

}  // namespace reference_product
