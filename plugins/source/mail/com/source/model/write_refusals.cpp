#include "model/write_refusals.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "mapi/property_tags.h"
#include "model/ascii.h"
#include "private_include/common/mail_message.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

bool HasSmimeClass(PropertiesAccessor& message) {
    const auto* message_class = message.TryGetProperty<std::string>(mapi::tag::kMessageClassA);
    return message_class != nullptr &&
           AsciiLower(*message_class).find("smime") != std::string::npos;
}

// The content type as the store or the headers have it, in lower case.
std::optional<std::string> ContentType(PropertiesAccessor& message) {
    if (const auto* stored = message.TryGetProperty<std::string>(mapi::tag::kContentTypeA)) {
        return AsciiLower(*stored);
    }
    const auto* headers = message.TryGetProperty<std::string>(mapi::tag::kTransportMessageHeadersA);
    if (headers == nullptr) return std::nullopt;
    const std::string lower = AsciiLower(*headers);
    const std::size_t start = lower.find("content-type:");
    if (start == std::string::npos) return std::nullopt;
    const std::size_t end = lower.find('\n', start);
    if (end == std::string::npos) return std::nullopt;
    return lower.substr(start, end - start);
}

}  // namespace

void RefuseWritingIfProtected(PropertiesAccessor& message, std::uint32_t access,
                              const vek::trace::TracerPtr& tracer) {
    if ((access & access_mode::kWrite) == 0 || !HasSmimeClass(message)) return;
    vek::trace::Write(tracer, vek::trace::level::kDetail,
                      "Write request blocked, because the message is encrypted or signed");
    vek::ThrowResult(vek::result::kNotSupported);
}

bool AllowsNotice(PropertiesAccessor& message) {
    if (HasSmimeClass(message)) return true;
    const std::optional<std::string> type = ContentType(message);
    if (!type) return false;
    static constexpr std::array<std::string_view, 3> kWrapped = {"/signed", "/encrypted",
                                                                 "/x-pkcs7"};
    for (std::string_view part : kWrapped) {
        if (type->find(part) != std::string::npos) return false;
    }
    return true;
}

void RefuseLosingCharacters(bool has_all, ULONG tag, const vek::trace::TracerPtr& tracer) {
    if (has_all) return;
    vek::trace::Write(tracer, vek::trace::level::kWarning, "Property ", vek::trace::Hex(tag),
                      " is not written, because the code page may lack some of its characters");
    vek::ThrowResult(vek::result::kNotSupported);
}

}  // namespace plugins::mail_processing
