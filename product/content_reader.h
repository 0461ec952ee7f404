#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "private_include/common/mail_message.h"
#include "product/callback_log.h"

namespace reference_product {

// Reads and replaces the contents of one message's bodies and attachments. For one thread.
class ContentReader {
public:
    using Sink = std::function<void(std::span<const std::byte>)>;

    // `log` must outlive the reader.
    explicit ContentReader(CallbackLog& log);

    // Hands the content to `sink` in pieces of at most 64 KiB, up to the end or the first failure.
    // `label` names the content in the report. False when some of it was not read; one that is not
    // there is empty. Raises what `sink` raises.
    bool Read(plugins::mail_processing::IPropertyProvider& provider, std::string_view label,
              const Sink& sink);

    // Replaces the old content and commits. False when a step failed; the report says which.
    bool Replace(plugins::mail_processing::IPropertyProvider& provider, std::string_view label,
                 std::string_view content);

private:
    CallbackLog& log_;
    std::vector<std::byte> buffer_;
};

}  // namespace reference_product
