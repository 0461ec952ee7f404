#include "vek/core/text.h"

#include <gtest/gtest.h>

#include <functional>

#include "vek/core/basic_string.h"

namespace {

TEST(Text, ConvertsBothWays) {
    const struct {
        std::u16string wide;
        std::string narrow;
        bool pairs = true;  // no surrogate is alone
    } cases[] = {
        {u"A\u007F\u0080\u07FF\u0800\uFFFF", "A\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF"},
        {u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
        {{0xD83D, u'z'}, "\xED\xA0\xBDz", false},
        {{0xDE00, 0xD83D}, "\xED\xB8\x80\xED\xA0\xBD", false},
        {{0xD83D, 0xD83D, 0xDE00}, "\xED\xA0\xBD\xF0\x9F\x98\x80", false},
    };
    for (const auto& [wide, narrow, pairs] : cases) {
        EXPECT_EQ(vek::ToUtf8(wide), narrow);
        EXPECT_EQ(vek::ToUtf8Strict(wide), pairs ? std::optional(narrow) : std::nullopt);
        EXPECT_EQ(vek::ToUtf16(narrow) == wide, pairs);
    }
    const std::pair<std::string, std::u16string> malformed[] = {
        {"\x80z", u"\uFFFDz"},                              // no lead
        {"\xE2\x82", u"\uFFFD\uFFFD"},                      // cut short
        {"\xC3z", u"\uFFFDz"},                              // no continuation
        {"\xC0\x80", u"\uFFFD\uFFFD"},                      // too long a form
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond the last code point
    };
    for (const auto& [narrow, wide] : malformed) EXPECT_EQ(vek::ToUtf16(narrow), wide);
}

TEST(BasicString, GrowsWhereAskedAndNamesTheOperationThatIsTooLong) {
    vek::string_t text(3, 'x');
    text.reserve_extra(100);
    EXPECT_GE(text.capacity(), 103u);
    text.resize_extra_at(1, 2)[1] = 'y';
    text.resize_extra_at(5, 1)[0] = 'z';
    EXPECT_EQ(text.append(text.view()).view(), std::string_view("x\0yxxzx\0yxxz", 12));

    const vek::string_t before = text;
    const std::size_t all = text.max_size() + 1, beyond = all - text.size();
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { vek::string_t("abc", all); }, " constructor"},
        {[&] { vek::string_t(all, 'x'); }, " constructor"},
        {[&] { text.reserve_extra(beyond); }, "::reserve_extra()"},
        {[&] {
             text.append({"abc", beyond});
         },
         "::reserve_extra()"},
        {[&] { text.resize_extra_at(0, beyond); }, "::resize_extra_at"},
        {[&] { text.resize_extra_at(13, 0); }, "::resize_extra_at"},
    };
    for (const auto& [operation, expected] : cases) {
        try {
            operation();
            ADD_FAILURE() << expected;
        } catch (const std::length_error& error) {
            EXPECT_EQ(error.what(), "vek::basic_string_t" + expected);
        }
    }
    EXPECT_EQ(text, before);
}

}  // namespace
