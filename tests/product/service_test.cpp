// What the product's service decides, apart from the system that it asks.

#include <gmock/gmock.h>

#include "common/product_info/product_info.h"
#include "product/policy/policy.h"
#include "product/process/product_options.h"
#include "product/process/restart_policy.h"
#include "product/product_info/factory.h"
#include "product/state/folder_security.h"
#include "product/state/run_folder.h"
#include "product/state/text_file.h"
#include "sandbox/registry/memory_registry.h"
#include "tests/support/fake_clock.h"
#include "tests/support/temporary_folder.h"

namespace reference_product {
namespace {

namespace result = vek::result;
namespace info = plugins::product_info;
using namespace std::chrono_literals;

TEST(RestartPolicy, WaitsLongerEachTimeUntilTheProcessRunsWell) {
    struct Clock final : tests::FakeClock {
        std::chrono::milliseconds AwakeTime() noexcept override { return awake; }
        std::chrono::milliseconds awake{7'000'000};
    } clock;
    RestartPolicy policy(clock);
    const std::pair<std::chrono::milliseconds, std::chrono::milliseconds> kRunsAndPauses[] = {
        {0s, 1s},  {10s, 2s},  {0s, 4s},  {0s, 8s},         {1min, 16s}, {0s, 32s}, {0s, 60s},
        {0s, 60s}, {5min, 1s}, {1ms, 2s}, {5min - 1ms, 4s}, {24h, 1s},   {0s, 2s}};
    for (const auto& [runs, pause] : kRunsAndPauses) {
        policy.Started();
        clock.awake += runs;
        EXPECT_EQ(policy.Ended(), pause);
        clock.awake += pause;
    }
}

TEST(FolderSecurity, TrustsTheServiceTheSystemAndItsAdministratorsAlone) {
    using Kind = AccessEntry::Kind;
    const std::string own = "S-1-5-80-1", system = "S-1-5-18", admins = "S-1-5-32-544",
                      user = "S-1-5-21-7", users = "S-1-5-32-545", creator = "S-1-3-0";
    constexpr std::uint32_t kAll = 0x1F'01FF, kModify = 0x13'01BF, kRead = 0x12'00A9;
    const struct {
        FileSecurity security;
        std::string_view may_be;  // p: a passage, r: readable, c: closed to others
        std::string fault = {};   // of a readable one
    } kCases[] = {
        {{false, own, {{{Kind::kAllow, false, kAll, own}}}}, "prc"},
        {{false, system, {{{Kind::kAllow, false, kAll, admins}}}}, "prc"},
        {{false, admins, {{}}}, "prc"},
        {{false, user, {{}}}, "", "belongs to " + user},
        {{false, "", {{}}}, "", "belongs to "},
        {{true, own, {{}}}, "", "is a link"},
        {{false, own, {}}, "", "is open to everybody"},
        {{false, own, {{{Kind::kAllow, false, kRead, users}}}}, "pr"},
        {{false, own, {{{Kind::kAllow, false, 0xA000'0000, users}}}}, "pr"},  // the same, generic
        // Adding to it, as in the folder of all programs' data, with any right to write.
        {{false, own, {{{Kind::kAllow, false, 0x4000'0116, users}}}}, "p"},
        // What replaces what is there: each of these rights.
        {{false, own, {{{Kind::kAllow, false, 0x40, users}}}}, ""},
        {{false, own, {{{Kind::kAllow, false, 0x1'0000, users}}}}, ""},
        {{false, own, {{{Kind::kAllow, false, 0x4'0000, users}}}}, ""},
        {{false, own, {{{Kind::kAllow, false, 0x8'0000, users}}}}, ""},
        {{false, own, {{{Kind::kAllow, false, 0x1000'0000, users}}}}, ""},
        // What is made in it would be open; not to whoever makes it.
        {{false, own, {{{Kind::kAllow, true, kModify, users}}}}, "p", "can be changed by " + users},
        {{false, own, {{{Kind::kAllow, true, kAll, creator}}}}, "prc"},
        // A denial takes nothing from another entry, and gives nothing.
        {{false, own, {{{Kind::kDeny, false, kAll, users}, {Kind::kAllow, false, kAll, user}}}},
         ""},
        {{false, own, {{{Kind::kDeny, false, kAll, users}}}}, "prc"},
        {{false, own, {{{Kind::kOther, false, 0, ""}}}}, "", "has an entry of an unknown kind"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(&c - kCases);
        const auto is_fit = [&](Openness use) { return FaultOf(c.security, use, own).empty(); };
        EXPECT_EQ(is_fit(Openness::kPassage), c.may_be.find('p') != c.may_be.npos);
        EXPECT_EQ(is_fit(Openness::kReadable), c.may_be.find('r') != c.may_be.npos);
        EXPECT_EQ(is_fit(Openness::kPrivate), c.may_be.find('c') != c.may_be.npos);
        EXPECT_THAT(FaultOf(c.security, Openness::kReadable, own), testing::HasSubstr(c.fault));
    }
    EXPECT_NE(FaultOf({false, "", {{}}}, Openness::kReadable, ""), "");
}

// A product of a service, as its information library finds it.
struct ServiceProduct {
    ServiceProduct() {
        ReplaceTextFile(folder.path() / "product_info.json", R"({"Service": "S"})");
    }
    template <class Interface>
    vek::RefPtr<Interface> Make(const char* name) {
        vek::RefPtr<Interface> object;
        EXPECT_EQ(factory->CreateObject(name, Interface::kInterfaceId, object.put_void()),
                  result::kOk);
        return object;
    }
    std::string Value(const char* name) {
        char text[300] = "";
        std::uint32_t size = 0;
        code = Make<info::IProductValues>(info::kProductValuesObject)
                   ->GetValue(name, text, sizeof text, &size);
        return text;
    }

    const tests::TemporaryFolder folder, data;
    sandbox::MemoryRegistry registry;
    std::optional<std::uint32_t> service = 5;
    vek::result_t code = 0;
    const vek::RefPtr<InfoFactory> factory = vek::MakeObject<InfoFactory>(
        folder.path(), InfoSources{[this](const std::string& name) {
                                       return name == "S" ? service : std::nullopt;
                                   },
                                   [this] { return data.path(); },
                                   [] { return std::filesystem::path("/home/u"); }, registry});
};

TEST(ServiceProduct, IsWhereTheRunningServiceSays) {
    ServiceProduct product;
    const ScannerNames published(product.data.path());
    const struct {
        std::optional<std::uint32_t> service;
        std::string name;
    } kCases[] = {
        {5, "running-5-1-6-7"},  // the one that counts
        {6, "running-5-1-6-7"},  // an earlier service's
        {{}, "running-5-1-6-7"},  {5, "running"},          {5, "running-5-1-6"},
        {5, "running-5-1-6-7-8"}, {5, "running-5-1-6-7x"}, {5, "running-5-1-6-0"},
        {5, "running-5-1-0-7"},   {5, "running-5-1-6--7"}, {5, "running-5-1-6-4294967296"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.name);
        product.service = c.service;
        ReplaceTextFile(product.data.path() / c.name, "");
        info::RemoteAddress address{};
        const auto remote = product.Make<info::IRemoteObject>(info::kRemoteLoaderObject);
        const bool counts = &c == kCases;
        EXPECT_EQ(remote->GetAddress(&address), counts ? result::kOk : result::kNotReady);
        EXPECT_EQ(address.local_id, counts ? 7u : 0u);
        EXPECT_EQ(address.process_id, counts ? 6u : 0u);
        std::filesystem::remove(product.data.path() / c.name);
    }
    for (std::uint32_t i = 1; i != 12; ++i) {  // the names of earlier ones may stay
        published.Publish({5, 8, i});
        EXPECT_EQ(published.ScannerOf(5), (ServiceScanner{5, 8, i}));
    }
    published.Publish({5, 0, 0});
    EXPECT_FALSE(published.ScannerOf(5));
}

TEST(ServiceProduct, SaysWhoseItIsAndWhereTheUsersFilesLie) {
    ServiceProduct product;
    const auto account = [&] { return product.Value(info::kProcessAccount); };
    const char16_t* const key = u"SOFTWARE\\QZ\\Mail Plugin";
    for (const char16_t* const text : {u"", u"S", u"NT SERVICE\\S"}) {
        EXPECT_EQ(account(), "");
        EXPECT_EQ(product.code, result::kNotInitialized);  // which nobody takes for "none"
        product.registry.Set(key, u"ProcessAccount", text);
    }
    product.registry.Set(key, u"ProcessAccount", u"S-1-5-80-1");
    EXPECT_EQ(account(), "S-1-5-80-1");
    EXPECT_EQ(PathOf(product.Value("DataRoot")), PathOf("/home/u"));
    EXPECT_EQ(PathOf(product.Value("TraceRoot")), PathOf("/home/u") / "trace");
    ReplaceTextFile(product.folder.path() / "product_info.json", R"({"TraceLevel": "500"})");
    EXPECT_EQ(product.Value("TraceLevel"), "500");
    vek::platform::RegistryHandle policy{};
    const std::uint32_t level = 700;
    product.registry.Create(vek::platform::RegistryHandle::kLocalMachine, kPolicyPath,
                            vek::platform::registry_access::kWrite, policy);
    product.registry.SetValue(policy, u"TraceLevel", vek::platform::RegistryType::kDword,
                              std::as_bytes(std::span(&level, 1)));
    product.registry.Close(policy);
    EXPECT_EQ(product.Value("TraceLevel"), "700");
    EXPECT_EQ(product.registry.open_keys(), 0u);
}

TEST(ProductOptions, NameFilesByTheMode) {
    const auto parse = [](std::vector<std::string> words) {
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        return ParseOptions(arguments);
    };
    const auto console = parse({"--console", "--folder", "F", "--log", "L"});
    ASSERT_TRUE(console);
    EXPECT_EQ(console->settings, PathOf("F") / "settings.json");
    EXPECT_EQ(console->reports, PathOf("F") / "reports.jsonl");
    EXPECT_EQ(console->log, "L");
    const auto scanner = parse({"--scanner", "--data", "D", "--service-process", "9"});
    ASSERT_TRUE(scanner);
    EXPECT_EQ(scanner->service_process, 9u);
    EXPECT_EQ(scanner->rules, ModuleFolder() / "sample.rules");
    EXPECT_EQ(scanner->settings, PathOf("D") / "settings.json");
    EXPECT_EQ(scanner->users, PathOf("D") / "users");
    EXPECT_EQ(scanner->log, PathOf("D") / "private" / "product.log");
    EXPECT_EQ(console->users, "");
    EXPECT_EQ(parse({"--kept", "list", "--folder", "F"})->kept, PathOf("F") / "kept");
    const auto kept = parse({"--data", "D", "--kept", "restore", "7", "--to", "T"});
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->kept, PathOf("D") / "private" / "kept");
    EXPECT_EQ(std::tuple(kept->mode, kept->restored, kept->to),
              std::tuple(ProgramMode::kKept, 7u, PathOf("T")));
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"--console"},
                                               {"--scanner"},
                                               {"--service", "--service-process", "9"},
                                               {"--scanner", "--service-process", "x"},
                                               {"--kept", "all", "--folder", "F"},
                                               {"--kept", "list", "--to", "T", "--folder", "F"},
                                               {"--kept", "restore", "0", "--to", "T"},
                                               {"--service", "--data"}})
        EXPECT_FALSE(parse(words)) << words.back();
}

}  // namespace
}  // namespace reference_product
