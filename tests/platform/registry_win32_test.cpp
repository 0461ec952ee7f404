#include "vek/platform/registry.h"

#include <gtest/gtest.h>

#include "tests/support/scratch_registry_win32.h"
#include "vek/platform/ansi_text.h"

namespace {

using namespace vek::platform;
using namespace std::string_literals;
using namespace std::string_view_literals;

TEST(RegistryWin32, ReadsWritesAndDeletesTexts) {
    const tests::ScratchRegistry scratch;
    constexpr auto kRoot = RegistryRoot::kCurrentUser;
    constexpr auto kNotFound = system_error::kFileNotFound;
    Registry& registry = TheRegistry();
    std::string text;
    EXPECT_EQ(registry.WriteText(kRoot, "key", "", "x"), kNotFound);
    scratch.Set(L"key", L"typed", L"x");
    EXPECT_EQ(registry.ReadText(kRoot, "key", "", text), kNotFound);
    for (const std::size_t length : {0u, 62u, 63u, 64u, 5000u}) {
        const std::string name(length % 2, 'n'), value = "\xC3\xBC" + std::string(length, 'x');
        EXPECT_EQ(registry.WriteText(kRoot, "key", name, value), 0u);
        EXPECT_EQ(registry.ReadText(kRoot, "key", name, text), 0u);
        EXPECT_EQ(text, value);
        EXPECT_EQ(registry.DeleteValue(kRoot, "key", name), 0u);
        EXPECT_EQ(registry.DeleteValue(kRoot, "key", name), kNotFound);
    }
    const auto read = [&](DWORD type, std::wstring_view data) {
        scratch.Set(L"key", L"typed", data, type);
        const auto error = registry.ReadText(kRoot, "key", "typed", text);
        return error == 0 ? text : "error " + std::to_string(error);
    };
    for (const std::size_t length : {0u, 12u, 63u, 64u, 65u})
        EXPECT_EQ(read(REG_SZ, std::wstring(length, L'x')), std::string(length, 'x'));
    EXPECT_EQ(read(REG_EXPAND_SZ, L"%x%\0y"sv), "%x%");
    for (const auto data : {L"a\0b\0\0"sv, L"a\0b\0"sv, L"a\0b"sv, L"a\0b\0\0c\0\0"sv})
        EXPECT_EQ(read(REG_MULTI_SZ, data), "a\0b\0"s);
    for (const auto data : {L""sv, L"\0"sv, L"\0\0"sv}) EXPECT_EQ(read(REG_MULTI_SZ, data), "");
    EXPECT_EQ(read(REG_BINARY, L"\0\0"sv), "error 1630");  // ERROR_UNSUPPORTED_TYPE
}

TEST(AnsiTextWin32, IsTheCodePages) {
    EXPECT_EQ(AnsiToUtf8(Utf8ToAnsi("a\0b"sv)), "a\0b"s);
    if (::GetACP() != 1252) GTEST_SKIP() << "another code page";
    EXPECT_EQ(Utf8ToAnsi("B\xC3\xBCro"), "B\xFCro");
    EXPECT_EQ(AnsiToUtf8("B\xFCro"), "B\xC3\xBCro");
}

}  // namespace
