#include "sandbox/demo/result_table.h"

#include <gmock/gmock.h>

#include <sstream>

#include "sandbox/demo/text_cell.h"

namespace sandbox::demo {
namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;

TEST(ResultTable, CutsTextsToTheirColumns) {
    const struct {
        const char* text;
        const char* cell;
    } cases[] = {
        {"", "      "},
        {"abc", "abc   "},
        {"abcdef", "abcdef"},
        {"abcdefg", "abcde…"},
        {"日本語", "日本語"},
        {"日本語文", "日本… "},  // half a character has no place
        {"a日本語", "a日本…"},
        {"e\u0301e\u0301", "e\u0301e\u0301    "},
        {"a\tb\x1B\u202E", "a.b.. "},
        {"\xFFz", "\uFFFDz    "},
        {"\U0001F4E7\U0001F4E7\U0001F4E7!", "\U0001F4E7\U0001F4E7… "},
    };
    for (const auto& [text, cell] : cases) EXPECT_EQ(Cell(text, 6), cell) << text;
}

TEST(ResultTable, TellsFailuresFromWhatIsNotOffered) {
    Result nested;
    nested.not_offered = {"attachment 1"};
    Result broken;
    broken.changed = {"subject"};
    broken.failed = {"GetSubject: Lost"};
    std::ostringstream out;
    PrintTable(out, {nested, broken});
    EXPECT_THAT(out.str(),
                AllOf(HasSubstr("not offered: attachment 1 "), HasSubstr("! GetSubject: Lost "),
                      HasSubstr("\n2 checked, 1 changed, 1 with failures"),
                      EndsWith("; 1 attachments not offered to scanners\n")));
}

}  // namespace
}  // namespace sandbox::demo
