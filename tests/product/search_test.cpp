#include <gmock/gmock.h>

#include <random>

#include "product/pattern_search.h"
#include "product/rtf_text.h"
#include "product/text_match.h"

namespace reference_product {
namespace {

std::span<const std::byte> Bytes(std::string_view text) { return std::as_bytes(std::span(text)); }

std::string RandomText(std::mt19937& random, std::size_t longest) {
    std::string text(random() % (longest + 1), '\0');
    for (char& letter : text) letter = "abAB"[random() % 4];
    return text;
}

// Few letters and short patterns: prefixes, suffixes and repetitions of each other.
TEST(PatternSearch, FindsWhatAPlainSearchFindsHoweverThePiecesAreCut) {
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::string> patterns(1 + random() % 6);
        for (std::string& pattern : patterns) pattern = 'a' + RandomText(random, 4);
        const std::string text = RandomText(random, 40);
        const bool folded = random() % 2 != 0;
        const PatternSet set(patterns,
                             folded ? PatternSet::Letters::kFolded : PatternSet::Letters::kExact);
        PatternScan scan(set);
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t length = 1 + random() % 5;
            scan.Feed(Bytes(std::string_view(text).substr(at, length)));
            at += length;
        }
        for (std::size_t i = 0; i < patterns.size(); ++i) {
            const bool there = folded ? ContainsFolded(text, patterns[i])
                                      : text.find(patterns[i]) != std::string::npos;
            EXPECT_EQ(scan.found()[i], there) << patterns[i] << " in " << text;
        }
    }
}

TEST(RtfText, GivesTheWordsWhereverItIsCut) {
    const std::string_view document = R"({\rtf1\ansi {\b b\'6fld}\par a\\b\{c\}\~d\tab e\fs-24 f)"
                                      "\r\n}";
    for (std::size_t cut = 0; cut <= document.size(); ++cut) {
        RtfText filter;
        std::vector<std::byte> text;
        filter.Feed(Bytes(document.substr(0, cut)), text);
        filter.Feed(Bytes(document.substr(cut)), text);
        EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()),
                  "bold\na\\b{c} d\tef")
            << cut;
    }
}

}  // namespace
}  // namespace reference_product
