#include "model/internet_headers.h"

#include <algorithm>

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

    // The next line with its line end; the last one may have none.
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

}  // namespace plugins::mail_processing
