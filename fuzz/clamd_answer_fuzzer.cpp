// Answers from whoever has clamd's port: what is shown of them is one short printable line, and
// nothing but the one answer for it makes a content clean.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "product/clamd/clamd_answer.h"
#include "vek/core/text.h"

namespace {

void Require(bool condition) {
    if (!condition) std::abort();
}

void RequirePrintable(std::string_view text) {
    std::size_t characters = 0;
    for (; !text.empty(); ++characters) {
        const auto [code_point, length] = vek::DecodeUtf8(text);
        Require(!vek::IsControl(code_point) && (code_point != U'\uFFFD' || length == 3));
        text.remove_prefix(length);
    }
    Require(characters <= 256 + 50);  // with our own words
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace reference_product;
    const std::string_view answer(reinterpret_cast<const char*>(data), size);
    for (const bool sent : {false, true}) {
        const ContentVerdict verdict = ReadVerdict(answer, sent, "clamd");
        Require((verdict.kind == ContentVerdict::Kind::kClean) == (sent && answer == "stream: OK"));
        RequirePrintable(verdict.text);
    }
    const EngineState state = ReadVersion(answer, "clamd");
    Require(state.trouble.empty() == (state.version != 0));
    for (const std::string& text : {state.name, state.signatures, state.trouble})
        RequirePrintable(text);
    return 0;
}
