#include "model/internet_headers.h"

#include <algorithm>
#include <array>
#include <optional>

#include "mapi/property_tags.h"
#include "model/ascii.h"
#include "model/smime.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

std::string_view HeaderName(std::string_view line) {
    const std::size_t colon = line.find(':');
    vek::Check(colon != std::string_view::npos);
    return line.substr(0, colon);
}

// Takes a text line by line.
class Lines {
public:
    explicit Lines(std::string_view text) noexcept : rest_(text) {}
    bool empty() const noexcept { return rest_.empty(); }

    // The next line with its end, or the rest where there is none.
    std::string_view Take() noexcept {
        const std::size_t end = rest_.find(kLineEnd);
        const auto line =
            end == std::string_view::npos ? rest_ : rest_.substr(0, end + kLineEnd.size());
        rest_.remove_prefix(line.size());
        return line;
    }

private:
    std::string_view rest_;
};

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

std::string ReplaceHeader(std::string_view headers, std::string_view line) {
    const std::string_view name = HeaderName(line);
    vek::Check(!name.empty());
    std::string kept;
    kept.reserve(headers.size() + line.size());
    // Line by line, so that erasing moves next to nothing however many lines go. What is kept
    // holds the name nowhere; erasing joins texts, so the search starts a name's length back.
    for (Lines lines(headers); !lines.empty();) {
        const std::size_t searched = kept.size() - std::min(kept.size(), name.size());
        kept += lines.Take();
        for (std::size_t at = kept.find(name, searched); at != std::string::npos;
             at = kept.find(name, searched)) {
            std::size_t end = kept.find(kLineEnd, at + name.size());
            while (end == std::string::npos) {
                vek::Check(!lines.empty());
                kept += lines.Take();
                end = kept.find(kLineEnd, at + name.size());
            }
            kept.erase(at, end + kLineEnd.size() - at);
        }
    }
    kept += line;
    return kept;
}

std::string AppendHeader(std::string_view headers, std::string_view line) {
    HeaderName(line);
    std::string result;
    result.reserve(headers.size() + line.size() + 3 * kLineEnd.size());
    result.append(headers).append(kLineEnd).append(line).append(kLineEnd).append(kLineEnd);
    return result;
}

bool AllowsNotice(PropertiesAccessor& message) {
    if (IsEncryptedOrSigned(message)) return true;
    const std::optional<std::string> type = ContentType(message);
    if (!type) return false;
    static constexpr std::array<std::string_view, 3> kWrapped = {"/signed", "/encrypted",
                                                                 "/x-pkcs7"};
    for (std::string_view part : kWrapped) {
        if (type->find(part) != std::string::npos) return false;
    }
    return true;
}

}  // namespace plugins::mail_processing
