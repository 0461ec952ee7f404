#include "product/rules.h"

#include <gmock/gmock.h>

#include <random>

#include "product/pattern_search.h"
#include "product/rtf_text.h"
#include "product/text_match.h"

namespace reference_product {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::string_view kFile =
    "\xEF\xBB\xBF# comment\r\n"
    "when incoming subject contains \"a \\\"b\\\"\" and not sender is \"x\" do "
    "set-subject \"[c] {subject}\"\r\n"
    "\n"
    "when body contains \"lost\" do nothing\n"
    "when body contains \"wire\" and attachment-contains \"key\" do append-notice \"Beware.\" , "
    "set-property 0x3FFF001E \"x\" # and so on\n"
    "when outgoing any do delete-attachment";

TEST(Rules, KeepsTheLinesOfAFileThatAreRight) {
    const ParsedRules parsed = ParseRules(kFile, "f");
    EXPECT_EQ(parsed.errors.size(), 1u);
    const auto& [rules, texts, version] = parsed.rules;
    ASSERT_EQ(rules.size(), 3u);
    EXPECT_EQ(rules[0].event, Event::kIncoming);
    EXPECT_EQ(rules[0].conditions.at(0).text, "a \"b\"");
    EXPECT_TRUE(rules[0].conditions.at(1).negated);
    EXPECT_EQ(rules[0].conditions.at(1).comparison, Comparison::kIs);
    EXPECT_EQ(rules[1].line, 5u);
    EXPECT_EQ(rules[1].conditions.at(1).content_text, 1u);
    EXPECT_THAT(texts, ElementsAre("wire", "key"));
    EXPECT_EQ(rules[1].actions.at(1).tag, 0x3FFF001Eu);
    EXPECT_EQ(rules[2].event, Event::kOutgoing);
    EXPECT_THAT(rules[2].conditions, IsEmpty());

    for (std::size_t length = 0; length < kFile.size(); ++length)
        EXPECT_LE(ParseRules(kFile.substr(0, length), "f").errors.size(), 2u) << length;
    EXPECT_EQ(LoadRules("no/such/file").errors.size(), 1u);
}

TEST(Rules, NamesTheLocationOfAnError) {
    const std::pair<std::string_view, std::string> cases[] = {
        {"if any", "1: expected 'when', found 'if'"},
        {"when",
         "5: expected 'not', 'any', 'sender', 'subject', 'header', 'body', 'body-find', "
         "'attachment-name', 'attachment-type', 'attachment-contains' or 'attachment-find', found "
         "the end of the line"},
        {"when subject contains \"\"", "23: expected a text to look for, in quotes, found '\"\"'"},
        {"when any do add-header \"X: 1\\r\\nY: 2\"",
         "24: expected one header line, like \"Name: value\", found '\"X: 1\\r\\nY: 2\"'"},
        {"when subject is \"\\", "18: expected one of \\\" \\\\ \\n \\r \\t, found '\\'"},
        {"when \x01", "6: expected a word, a text in quotes, a number or ',', found '?'"},
    };
    for (const auto& [line, error] : cases) {
        const ParsedRules parsed = ParseRules(line, "f");
        ASSERT_EQ(parsed.errors.size(), 1u) << line;
        EXPECT_EQ(ToText(parsed.errors[0]), "f:1:" + error);
    }
}

TEST(TextMatch, Wildcards) {
    for (const char* pattern : {"*", "*.EXE", "a*?e", "a.exe.exe*", "?.*e*.e?e"})
        EXPECT_TRUE(MatchesWildcard("a.exe.exe", pattern)) << pattern;
    for (const char* pattern : {"", "?", "*.ex", "a*x?e?", "exe*"})
        EXPECT_FALSE(MatchesWildcard("a.exe.exe", pattern)) << pattern;
}

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
        for (std::size_t at = 0, length; at < text.size(); at += length) {
            length = 1 + random() % 5;
            scan.Feed(Bytes(std::string_view(text).substr(at, length)));
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
