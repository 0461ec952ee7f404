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
        {{kMachine, u"Software\\Example", k32}, "{ HKLM\\Software\\Example, 32bit }"},
        {{RegistryHandle::kCurrentUser, u"", k64}, "{ HKCU\\, 64bit }"},
        {{RegistryHandle{0x1aB}, u"\u00E9"}, "{ 0x1ab\\\xC3\xA9, current process bitness }"},
        {{RegistryHandle::kClassesRoot, u"a", RegistryBitness{7}},
         "{ 0xffffffff80000000\\a, unknown bitness }"}};
    for (const auto& [path, text] : cases) EXPECT_EQ(TextOf(path), text);
}

// The stand-in's failures and the system's are the same.
void CheckFailures(Registry& registry) {
    const RegistryKeyPath missing{kMachine, u"Missing"}, there{kMachine, u"There"};
    RegistryKey writer = RegistryKey::Create(there, registry);
    writer.SetDword(u"four", 4);
    const auto reader = RegistryKey::Open(there, access::kRead, registry);
    const RegistryKeyPath below{writer.handle(), u"below"};
    RegistryKey::Create(below, registry);
    const std::string at = "registry key { HKLM\\Missing, current process bitness }",
                      key = "{ HKLM\\There, current process bitness }";
    const auto open = [&](registry_access_t wanted) {
        return [&, wanted] { RegistryKey::Open(missing, wanted, registry); };
    };
    const std::pair<std::function<void()>, std::string> cases[] = {
        {open(access::kRead), "Cannot open " + at + " with access mode READ, result=0x2"},
        {open(access::kWrite), "Cannot open " + at + " with access mode WRITE, result=0x2"},
        {open(1), "Cannot open " + at + " with access mode QUERY_VALUE, result=0x2"},
        {open(0x1F), "Cannot open " + at + " with access mode 0x1f, result=0x2"},
        {[&] {
             RegistryKey::Create({kMachine, std::u16string(300, u'x'), RegistryBitness::k32},
                                 registry);
         },
         "Cannot create registry key { HKLM\\" + std::string(300, 'x') +
             ", 32bit } with access mode WRITE, result=0x57"},
        {[&] { writer.Subkeys(); },
         "Cannot enumerate subkeys in registry key " + key + ", result=0x5"},
        {[&] { writer.Keys(); }, "Cannot enumerate keys in registry key " + key + ", result=0x5"},
        {[&] { writer.Values(); },
         "Cannot enumerate values in registry key " + key + ", result=0x5"},
        {[&] { reader.QueryValue(u"a"); },
         "Cannot query registry value \"a\" in key " + key + ", result=0x2"},
        {[&] { reader.GetDword(u""); },
         "Cannot get registry value \"\" from key " + key + ", result=0x2"},
        {[&] { reader.GetString(u"four"); },
         "Cannot get registry value \"four\" from key " + key + ", result=0x65e"},
        {[&] { reader.GetBinary(u"four"); },
         "Cannot get registry value \"four\" from key " + key + ", result=0x65e"},
        {[&] { reader.SetString(u"a", u""); },
         "Cannot set string registry value \"a\" in key " + key + ", result=0x5"},
        {[&] { reader.SetDword(u"a", 1); },
         "Cannot set REG_DWORD registry value \"a\" in key " + key + ", result=0x5"},
        {[&] { reader.SetBinary(u"a", {}); },
         "Cannot set REG_BINARY registry value \"a\" in key " + key + ", result=0x5"},
        {[&] { writer.DeleteValue(u"a"); },
         "Cannot delete registry value \"a\" in key " + key + ", result=0x2"},
        {[&] { DeleteKey(there, registry); }, "Cannot delete registry key " + key + ", result=0x5"},
        {[&] {
             DeleteKey(below, registry);
             DeleteKey({writer.handle(), u""}, registry);
             reader.Info();
         },
         "Cannot query registry key " + key + ", result=0x3fa"}};
    for (const auto& [call, text] : cases) EXPECT_EQ(Failure(call), text);
    EXPECT_FALSE(RegistryKey::OpenForNotification(missing, registry));
}

void CheckRoundTrips(Registry& registry) {
    const RegistryKeyPath path{kMachine, u"key"};
    std::u16string text;
    EXPECT_EQ(WriteString(path, u"", u"x", registry), system_error::kFileNotFound);
    const auto writer = RegistryKey::Create(path, registry);
    const auto reader = RegistryKey::Open(path, access::kRead, registry);
    for (const std::size_t length : {0u, 12u, 127u, 128u, 5000u}) {
        const std::u16string name(length % 2, u'n'),
            value = u"\u00FC" + std::u16string(length, 'x');
        writer.SetString(name, value);
        EXPECT_EQ(reader.GetString(name), value);
        EXPECT_EQ(ReadString(path, name, text, registry), 0u);
        EXPECT_EQ(text, value);
        EXPECT_EQ(RemoveValue(path, name, registry), 0u);
        EXPECT_EQ(RemoveValue(path, name, registry), system_error::kFileNotFound);
    }
    // Nobody makes a writer end texts.
    const struct {
        RegistryType type;
        std::u16string_view data, text;
    } kTexts[] = {{RegistryType::kExpandString, u"%x%\0y"sv, u"%x%"},
                  {RegistryType::kString, u"x"sv, u"x"},
                  {RegistryType::kMultiString, u"a\0b\0\0c\0\0"sv, u"a\0b\0"sv},
                  {RegistryType::kMultiString, u"a\0b"sv, u"a\0b\0"sv},
                  {RegistryType::kMultiString, u"\0\0"sv, u""},
                  {RegistryType::kMultiString, u""sv, u""}};
    for (const auto& row : kTexts) {
        registry.SetValue(writer.handle(), u"typed", row.type, std::as_bytes(std::span(row.data)));
        EXPECT_EQ(reader.GetString(u"typed"), row.text);
    }
    const std::vector<std::byte> bytes(300, std::byte{7});
    writer.SetBinary(u"bytes", bytes);
    EXPECT_EQ(reader.GetBinary(u"bytes"), bytes);
    writer.SetDword(u"number", 0x80000001u);
    EXPECT_EQ(reader.GetDword(u"NUMBER"), 0x80000001u);
    EXPECT_EQ(reader.QueryValue(u"number").type, RegistryType::kDword);
    EXPECT_EQ(reader.Values().size(), 3u);

    const auto before = reader.Info().last_write;
    RegistryKey::Create({kMachine, u"key\\a\\b"}, registry);
    EXPECT_EQ(reader.Subkeys(), std::vector<std::u16string>{u"a"});
    EXPECT_EQ(reader.Keys().at(0).name, u"a");
    EXPECT_EQ(reader.Info().subkeys, 1u);
    EXPECT_EQ(reader.Info().values, 3u);
    EXPECT_GE(reader.Info().last_write, before);
}

TEST(RegistryHelper, SaysWhatFailed) {
    sandbox::MemoryRegistry registry;
    CheckFailures(registry);
    EXPECT_EQ(registry.open_keys(), 0u);
#ifdef _WIN32
    const tests::ScratchRegistry scratch;
    CheckFailures(TheRegistry());
#endif
}

TEST(RegistryHelper, ReadsWhatWasWritten) {
    sandbox::MemoryRegistry registry;
    CheckRoundTrips(registry);
    EXPECT_EQ(registry.open_keys(), 0u);
#ifdef _WIN32
    const tests::ScratchRegistry scratch;
    CheckRoundTrips(TheRegistry());
#endif
}

TEST(RegistryHelper, KeepsTheViewsApart) {
    using enum RegistryBitness;
    sandbox::MemoryRegistry registry;
    const auto in = [](RegistryBitness view) {
        return RegistryKeyPath{kMachine, u"SOFTWARE\\views", view};
    };
    RegistryKey::Create(in(k32), registry);
    EXPECT_FALSE(RegistryKey::OpenIfThere(in(k64), access::kRead, registry));
    RegistryKey::Create(in(k64), registry);
    DeleteKey(in(k32), registry);
    EXPECT_FALSE(RegistryKey::OpenIfThere(in(k32), access::kRead, registry));
    EXPECT_TRUE(RegistryKey::OpenIfThere(in(kProcess), access::kRead, registry));
}

}  // namespace
