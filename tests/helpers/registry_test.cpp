#include <gtest/gtest.h>

#include <functional>

#include "internal/helpers/registry_impl.h"
#include "sandbox/registry/memory_registry.h"
#include "vek/core/exception.h"
#include "vek/core/text.h"
#ifdef _WIN32
#include "tests/support/scratch_registry_win32.h"
#endif

namespace {

using namespace plugins::helpers;
using namespace vek::platform;
using namespace std::string_view_literals;
namespace access = registry_access;

constexpr auto kMachine = RegistryHandle::kLocalMachine;

// What `call` raises.
std::string Failure(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const vek::CheckFailedException& failure) {
        return vek::ToUtf8(failure.Description().view());
    }
}

TEST(RegistryHelper, NamesKeys) {
    using enum RegistryBitness;
    const std::pair<RegistryKeyPath, std::string> cases[] = {
        {{RegistryHandle::kCurrentUser, u"", k64}, "{ HKCU\\, 64bit }"},
        {{RegistryHandle{0x1aB}, u"\u00E9"}, "{ 0x1ab\\\xC3\xA9, current process bitness }"},
        {{RegistryHandle::kClassesRoot, u"a", RegistryBitness{7}},
         "{ 0xffffffff80000000\\a, unknown bitness }"}};
    for (const auto& [path, text] : cases) EXPECT_EQ(TextOf(path), text);
}

// The stand-in's failures and the system's are the same.
void CheckFailures(Registry& registry) {
    const RegistryKeyPath missing{kMachine, u"Missing", RegistryBitness::k32},
        there{kMachine, u"There"};
    RegistryKey writer = RegistryKey::Create(there, registry);
    writer.SetDword(u"four", 4);
    const auto reader = RegistryKey::Open(there, access::kRead, registry);
    const RegistryKeyPath below{writer.handle(), u"below"},
        too_long{kMachine, std::u16string(300, u'x')};
    RegistryKey::Create(below, registry);
    using Text = std::string;
    const Text there_is = "{ HKLM\\There, current process bitness }, result=0x";
    const auto open = [&](registry_access_t wanted, const Text& mode) {
        return std::pair{[&, wanted] { RegistryKey::Open(missing, wanted, registry); },
                         "Cannot open registry key { HKLM\\Missing, 32bit } with access mode " +
                             mode + ", result=0x2"};
    };
    const auto key = [&](const char* what, const char* code) {
        return Text("Cannot ") + what + " registry key " + there_is + code;
    };
    const auto value = [&](const char* what, const char* name, const char* code) {
        return Text("Cannot ") + what + " registry value \"" + name + " key " + there_is + code;
    };
    const std::pair<std::function<void()>, Text> cases[] = {
        open(access::kRead, "READ"),
        open(access::kWrite, "WRITE"),
        open(access::kQueryValue, "QUERY_VALUE"),
        open(0x1F, "0x1f"),
        {[&] { RegistryKey::Create(too_long, registry); },
         "Cannot create registry key { HKLM\\" + Text(300, 'x') +
             ", current process bitness } with access mode WRITE, result=0x57"},
        {[&] { writer.Subkeys(); }, key("enumerate subkeys in", "5")},
        {[&] { writer.Keys(); }, key("enumerate keys in", "5")},
        {[&] { writer.Values(); }, key("enumerate values in", "5")},
        {[&] { reader.QueryValue(u"a"); }, value("query", "a\" in", "2")},
        {[&] { reader.GetDword(u""); }, value("get", "\" from", "2")},
        {[&] { reader.GetString(u"four"); }, value("get", "four\" from", "65e")},
        {[&] { reader.GetBinary(u"four"); }, value("get", "four\" from", "65e")},
        {[&] { reader.SetString(u"a", u""); }, value("set string", "a\" in", "5")},
        {[&] { reader.SetDword(u"a", 1); }, value("set REG_DWORD", "a\" in", "5")},
        {[&] { reader.SetBinary(u"a", {}); }, value("set REG_BINARY", "a\" in", "5")},
        {[&] { writer.DeleteValue(u"a"); }, value("delete", "a\" in", "2")},
        {[&] { DeleteKey(there, registry); }, key("delete", "5")},
        {[&] {
             DeleteKey(below, registry);
             DeleteKey({writer.handle(), u""}, registry);
             reader.Info();
         },
         key("query", "3fa")}};
    for (const auto& [call, text] : cases) EXPECT_EQ(Failure(call), text);
    EXPECT_FALSE(RegistryKey::OpenForNotification(missing, registry));
}

void CheckRoundTrips(Registry& registry) {
    const RegistryKeyPath path{kMachine, u"key"};
    EXPECT_EQ(WriteString(path, u"", u"x", registry), system_error::kFileNotFound);
    const auto writer = RegistryKey::Create(path, registry);
    const auto reader = RegistryKey::Open(path, access::kRead, registry);
    for (const std::size_t length : {0u, 12u, 127u, 128u, 5000u}) {
        const std::u16string name(length % 2, u'n'), value(length, u'\u00FC');
        writer.SetString(name, value);
        EXPECT_EQ(reader.GetString(name), value);
        EXPECT_EQ(RemoveValue(path, name, registry), 0u);
    }
    // Nobody makes a writer end texts.
    const std::tuple<RegistryType, std::u16string_view, std::u16string_view> kTexts[] = {
        {RegistryType::kExpandString, u"%x%\0y"sv, u"%x%"},
        {RegistryType::kString, u"x"sv, u"x"},
        {RegistryType::kMultiString, u"a\0b\0\0c\0\0"sv, u"a\0b\0"sv},
        {RegistryType::kMultiString, u"a\0b"sv, u"a\0b\0"sv},
        {RegistryType::kMultiString, u""sv, u""}};
    for (const auto& [type, data, text] : kTexts) {
        registry.SetValue(writer.handle(), u"typed", type, std::as_bytes(std::span(data)));
        EXPECT_EQ(reader.GetString(u"typed"), text);
    }
    const std::vector<std::byte> bytes(300, std::byte{7});
    writer.SetBinary(u"bytes", bytes);
    EXPECT_EQ(reader.GetBinary(u"bytes"), bytes);
    writer.SetDword(u"number", 0x80000001u);
    EXPECT_EQ(reader.GetDword(u"NUMBER"), 0x80000001u);
    EXPECT_EQ(reader.QueryValue(u"number").type, RegistryType::kDword);
    EXPECT_EQ(reader.Values().size(), 3u);

    RegistryKey::Create({kMachine, u"key\\a\\b"}, registry);
    EXPECT_EQ(reader.Subkeys(), std::vector<std::u16string>{u"a"});
    EXPECT_EQ(reader.Keys().at(0).name, u"a");
    EXPECT_EQ(reader.Info().subkeys, 1u);
    EXPECT_EQ(reader.Info().values, 3u);
}

TEST(RegistryHelper, WorksWithEachRegistry) {
    const auto check = [](Registry& registry) {
        CheckFailures(registry);
        CheckRoundTrips(registry);
    };
    sandbox::MemoryRegistry memory;
    check(memory);
    EXPECT_EQ(memory.open_keys(), 0u);
#ifdef _WIN32
    const tests::ScratchRegistry scratch;
    check(TheRegistry());
#endif
}

TEST(RegistryHelper, KeepsTheViewsApart) {
    sandbox::MemoryRegistry registry;
    const RegistryKeyPath in32{kMachine, u"SOFTWARE\\views", RegistryBitness::k32},
        in64{kMachine, u"SOFTWARE\\views", RegistryBitness::k64};
    RegistryKey::Create(in32, registry);
    EXPECT_FALSE(RegistryKey::OpenIfThere(in64, access::kRead, registry));
    RegistryKey::Create(in64, registry);
    DeleteKey(in32, registry);
    EXPECT_TRUE(RegistryKey::OpenIfThere(in64, access::kRead, registry));
}

}  // namespace
