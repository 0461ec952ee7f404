#pragma once

#include <chrono>
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
    static constexpr std::string_view kTooLong = "the message has taken too long";

    using Sink = std::function<void(std::span<const std::byte>)>;
    using TimePoint = std::chrono::steady_clock::time_point;

    // `log` must outlive the reader.
    explicit ContentReader(CallbackLog& log);

    // Hands the content to `sink` in pieces of at most 64 KiB, up to the end or the first failure;
    // after `deadline` no other piece is asked for. `label` names the content in the report. Says
    // why some of it was not read, nothing when all was; one that is not there is empty. Raises
    // what `sink` raises.
    std::string_view Read(plugins::mail_processing::IPropertyProvider& provider,
                          std::string_view label, const Sink& sink,
                          TimePoint deadline = TimePoint::max());

    // Replaces the old content and commits. False when a step failed; the report says which.
    bool Replace(plugins::mail_processing::IPropertyProvider& provider, std::string_view label,
                 std::string_view content);

private:
    CallbackLog& log_;
    std::vector<std::byte> buffer_;
};

}  // namespace reference_product
