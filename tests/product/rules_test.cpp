#include "product/rules.h"

#include <gmock/gmock.h>

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
    "when body contains \"wire\" and attachment-contains \"key\" do append-notice \"Beware.\" , "
    "set-property 0x3FFF001E \"x\" # and so on\n"
    "when outgoing any do delete-attachment";

TEST(Rules, ParsesAFile) {
    const ParsedRules parsed = ParseRules(kFile, "f");
    ASSERT_THAT(parsed.errors, IsEmpty());
    ASSERT_EQ(parsed.rules.rules.size(), 3u);

    const Rule& first = parsed.rules.rules[0];
    EXPECT_EQ(first.line, 2u);
    EXPECT_EQ(first.event, Event::kIncoming);
    ASSERT_EQ(first.conditions.size(), 2u);
    EXPECT_EQ(first.conditions[0].text, "a \"b\"");
    EXPECT_TRUE(first.conditions[1].negated);
    EXPECT_EQ(first.conditions[1].field, Field::kSender);
    EXPECT_EQ(first.conditions[1].comparison, Comparison::kIs);

    const Rule& second = parsed.rules.rules[1];
    EXPECT_EQ(second.conditions[1].content_text, 1u);
    EXPECT_THAT(parsed.rules.content_texts, ElementsAre("wire", "key"));
    ASSERT_EQ(second.actions.size(), 2u);
    EXPECT_EQ(second.actions[1].tag, 0x3FFF001Eu);

    EXPECT_EQ(parsed.rules.rules[2].event, Event::kOutgoing);
    EXPECT_THAT(parsed.rules.rules[2].conditions, IsEmpty());
}

TEST(Rules, NamesThePlaceOfAnError) {
    const struct {
        std::string_view line;
        std::string_view error;
    } cases[] = {
        {"if any", "1:1: expected 'when', found 'if'"},
        {"when",
         "1:5: expected 'not', 'any', 'sender', 'subject', 'header', 'body', "
         "'attachment-name', 'attachment-type' or 'attachment-contains', found the end "
         "of the line"},
        {"when subject has \"x\"", "1:14: expected 'contains', 'is' or 'matches', found 'has'"},
        {"when body is \"x\"", "1:11: expected 'contains', found 'is'"},
        {"when subject is x do", "1:17: expected a text in quotes, found 'x'"},
        {"when subject contains \"\" do",
         "1:23: expected a text to look for, in quotes, found '\"\"'"},
        {"when subject is \"x\" or", "1:21: expected 'and' or 'do', found 'or'"},
        {"when any do delete-attachment \"x\"",
         "1:31: expected ',' or the end of the line, found '\"x\"'"},
        {"when any do set-property 0x3FFF001F \"x\"",
         "1:26: expected the tag of a narrow string, like 0x3FFF001E, found '0x3FFF001F'"},
        {"when any do set-property 0x13FFF001E \"x\"",
         "1:26: expected the tag of a narrow string, like 0x3FFF001E, found '0x13FFF001E'"},
        {"when any do add-header \"X: 1\\r\\nY: 2\"",
         "1:24: expected one header line, like \"Name: value\", found '\"X: 1\\r\\nY: 2\"'"},
        {"when subject is \"x", "1:19: expected a closing quote, found the end of the line"},
        {"when subject is \"\\q\"", "1:18: expected one of \\\" \\\\ \\n \\r \\t, found '\\q'"},
        {"when subject is \"\\", "1:18: expected one of \\\" \\\\ \\n \\r \\t, found '\\'"},
        {"when \x01", "1:6: expected a word, a text in quotes, a number or ',', found '?'"},
    };
    for (const auto& [line, error] : cases) {
        const ParsedRules parsed = ParseRules(line, "f");
        ASSERT_EQ(parsed.errors.size(), 1u) << line;
        EXPECT_EQ(ToText(parsed.errors[0]), "f:" + std::string(error));
    }
}

TEST(Rules, KeepsTheOtherLinesWhenOneIsWrong) {
    const ParsedRules parsed = ParseRules(
        "when body contains \"lost\" do nothing\n"
        "when body contains \"kept\" do delete-attachment\n",
        "f");
    EXPECT_EQ(parsed.errors.size(), 1u);
    ASSERT_EQ(parsed.rules.rules.size(), 1u);
    EXPECT_EQ(parsed.rules.content_texts.at(parsed.rules.rules[0].conditions[0].content_text),
              "kept");
}

TEST(Rules, EveryCutOfAFileIsParsed) {
    for (std::size_t length = 0; length < kFile.size(); ++length) {
        EXPECT_LE(ParseRules(kFile.substr(0, length), "f").errors.size(), 1u) << length;
    }
    EXPECT_EQ(LoadRules("no/such/file").errors.size(), 1u);
}

TEST(TextMatch, Wildcards) {
    const struct {
        std::string_view text, pattern;
        bool matches;
    } cases[] = {
        {"a.EXE", "*.exe", true},
        {"a.exe.txt", "*.exe", false},
        {"a.exe.exe", "*.exe", true},
        {"", "*", true},
        {"", "?", false},
        {"abc", "a?c", true},
        {"abcbd", "a*b?", true},
        {"abcb", "a*b?", false},
        {"ab", "ab*", true},
        {"mississippi", "m*iss*ip*", true},
    };
    for (const auto& [text, pattern, matches] : cases) {
        EXPECT_EQ(MatchesWildcard(text, pattern), matches) << text << ' ' << pattern;
    }
}

}  // namespace
}  // namespace reference_product
