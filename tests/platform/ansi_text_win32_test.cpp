#include <gtest/gtest.h>
#include <windows.h>

#include "vek/platform/ansi_text.h"

namespace {

using namespace vek::platform;
using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(AnsiTextWin32, IsTheCodePages) {
    EXPECT_EQ(AnsiToUtf8(Utf8ToAnsi("a\0b"sv)), "a\0b"s);
    if (::GetACP() != 1252) GTEST_SKIP() << "another code page";
    EXPECT_EQ(Utf8ToAnsi("B\xC3\xBCro"), "B\xFCro");
    EXPECT_EQ(AnsiToUtf8("B\xFCro"), "B\xC3\xBCro");
}

}  // namespace
