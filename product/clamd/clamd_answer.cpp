#include "product/clamd/clamd_answer.h"

#include <algorithm>
#include <utility>

#include "product/foreign_text.h"

namespace reference_product {
namespace {

// Takes the end off a text that has it.
bool TakeEnd(std::string_view& text, std::string_view end) {
    if (!text.ends_with(end)) return false;
    text.remove_suffix(end.size());
    return true;
}

std::string Nonsense(std::string_view answer, std::string_view clamd) {
    return std::string(clamd) + " answers as no clamd does: \"" + CleanText(answer) + '"';
}

// The same for the same text, and never 0.
std::uint64_t HashOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char letter : text)
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    return std::max<std::uint64_t>(hash, 1);
}

}  // namespace

ContentVerdict ReadVerdict(std::string_view answer, bool sent, std::string_view clamd) {
    constexpr std::string_view kPrefix = "stream: ";
    if (answer == "INSTREAM size limit exceeded. ERROR")
        return {ContentVerdict::Kind::kNotChecked,
                "the content is larger than the StreamMaxLength of " + std::string(clamd)};
    std::string_view rest = answer;
    if (rest.starts_with(kPrefix)) {
        rest.remove_prefix(kPrefix.size());
        if (rest == "OK" && sent) return {ContentVerdict::Kind::kClean, {}};
        if (TakeEnd(rest, " FOUND") && !rest.empty())
            return {ContentVerdict::Kind::kFound, CleanText(rest)};
    }
    if (TakeEnd(rest, " ERROR") && !rest.empty())
        return {ContentVerdict::Kind::kNotChecked,
                std::string(clamd) + " reports an error: " + CleanText(rest)};
    if (answer == "stream: OK")
        return {ContentVerdict::Kind::kNotChecked,
                std::string(clamd) + " gave a verdict before the content had ended"};
    return {ContentVerdict::Kind::kNotChecked, Nonsense(answer, clamd)};
}

EngineState ReadVersion(std::string_view answer, std::string_view clamd) {
    EngineState state;
    if (!answer.starts_with("ClamAV ")) {
        state.trouble = Nonsense(answer, clamd);
        return state;
    }
    // ClamAV 1.4.6/27450/Sat Nov 21 09:26:14 2026; the name alone without signatures of its maker.
    const std::string_view name = answer.substr(0, answer.find('/'));
    state.name = CleanText(name);
    if (name.size() != answer.size()) {
        std::string signatures = CleanText(answer.substr(name.size() + 1));
        if (const auto slash = signatures.find('/'); slash != signatures.npos)
            signatures.replace(slash, 1, ", ");
        state.signatures = std::move(signatures);
    }
    state.version = HashOf(answer);
    return state;
}

}  // namespace reference_product
