// What the product's service decides, apart from the system that it asks.

#include <gmock/gmock.h>

#include "common/product_info/product_info.h"
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
    constexpr char kOwn[] = "S-1-5-80-1", kUser[] = "S-1-5-21-7", kUsers[] = "S-1-5-32-545",
                   kSystem[] = "S-1-5-18", kAdministrators[] = "S-1-5-32-544";
    constexpr std::uint32_t kAll = 0x1F'01FF, kRead = 0x12'00A9, kModify = 0x13'01BF;
    const AccessEntry kOurs{Kind::kAllow, false, kAll, kOwn};
    const auto users = [&](std::uint32_t rights, bool is_for_children = false) {
        return AccessEntry{Kind::kAllow, is_for_children, rights, kUsers};
    };
    const struct {
        FileSecurity security;
        std::string passage, readable, closed;  // what FaultOf says of it as a folder of this kind
    } kCases[] = {
        {{false, kOwn, {{kOurs}}}, "", "", ""},
        {{false, kSystem, {{kOurs, {Kind::kAllow, false, kAll, kAdministrators}}}}, "", "", ""},
        {{false, kAdministrators, {{}}}, "", "", ""},
        // Planted.
        {{false, kUser, {{kOurs}}},
         "belongs to S-1-5-21-7",
         "belongs to S-1-5-21-7",
         "belongs to S-1-5-21-7"},
        {{false, "", {{kOurs}}}, "belongs to ", "belongs to ", "belongs to "},
        {{true, kOwn, {{kOurs}}}, "is a link", "is a link", "is a link"},
        {{false, kOwn, {}}, "is open to everybody", "is open to everybody", "is open to everybody"},
        // Read.
        {{false, kOwn, {{users(kRead), kOurs}}}, "", "", "U"},
        {{false, kOwn, {{users(0xA000'0000)}}}, "", "", "U"},  // GENERIC_READ and _EXECUTE
        // Add, as in the folder for all programs' data; replace what is there.
        {{false, kOwn, {{kOurs, users(0x116)}}}, "", "U", "U"},
        {{false, kOwn, {{users(kModify)}}}, "U", "U", "U"},
        {{false, kOwn, {{users(0x40)}}}, "U", "U", "U"},         // FILE_DELETE_CHILD
        {{false, kOwn, {{users(0x4'0000)}}}, "U", "U", "U"},     // WRITE_DAC
        {{false, kOwn, {{users(0x8'0000)}}}, "U", "U", "U"},     // WRITE_OWNER
        {{false, kOwn, {{users(0x1000'0000)}}}, "U", "U", "U"},  // GENERIC_ALL
        {{false, kOwn, {{users(0x4000'0000)}}}, "", "U", "U"},   // GENERIC_WRITE
        // What is made in it would be open.
        {{false, kOwn, {{users(kModify, true)}}}, "", "U", "U"},
        {{false, kOwn, {{{Kind::kAllow, true, kAll, "S-1-3-0"}}}}, "", "", ""},  // CREATOR OWNER
        // A denial takes nothing from another entry, and gives nothing.
        {{false, kOwn, {{{Kind::kDeny, false, kAll, kUsers}, users(kModify)}}}, "U", "U", "U"},
        {{false, kOwn, {{{Kind::kDeny, false, kAll, kUsers}}}}, "", "", ""},
        {{false, kOwn, {{{Kind::kOther, false, 0, ""}}}},
         "has an entry of an unknown kind",
         "has an entry of an unknown kind",
         "has an entry of an unknown kind"},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(&c - kCases);
        const auto fault = [&](Openness openness) {
            const std::string text = FaultOf(c.security, openness, kOwn);
            return text.ends_with(kUsers) ? "U" : text;
        };
        EXPECT_EQ(fault(Openness::kPassage), c.passage);
        EXPECT_EQ(fault(Openness::kReadable), c.readable);
        EXPECT_EQ(fault(Openness::kPrivate), c.closed);
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
    const ScannerFile published(product.data.path());
    const struct {
        std::optional<std::uint32_t> service;
        std::string text;
        bool found;
    } kCases[] = {
        {5, "", false},
        {5, R"({"service": 5, "process_id": 6, "local_id": 7})", true},
        {6, R"({"service": 5, "process_id": 6, "local_id": 7})", false},  // an earlier one's
        {{}, R"({"service": 5, "process_id": 6, "local_id": 7})", false},
        {5, R"({"service": 5, "process_id": 6, "local_id": 0})", false},
        {5, R"({"service": 5, "process_id": 0, "local_id": 7})", false},
        {5, R"({"service": 5, "process_id": 6, "local_id": 7, "x": 1})", false},
        {5, R"({"service": 5, "process_id": 6, "local_id": 4294967296})", false},
        {5, R"({"service": 5, "process_id": 6, "local_id")", false},
        {5, R"({"process_id": 6, "started": 1, "local_id": 7, "tcp_port": 0})", false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.text);
        product.service = c.service;
        ReplaceTextFile(product.data.path() / "running.json", c.text);
        info::RemoteAddress address{};
        EXPECT_EQ(
            product.Make<info::IRemoteObject>(info::kRemoteLoaderObject)->GetAddress(&address),
            c.found ? result::kOk : result::kNotReady);
        EXPECT_EQ(address.local_id, c.found ? 7u : 0u);
        EXPECT_EQ(address.process_id, c.found ? 6u : 0u);
        EXPECT_EQ(address.tcp_port, 0u);
    }
    published.Publish({5, 8, 9});
    EXPECT_EQ(published.ScannerOf(5), (ServiceScanner{5, 8, 9}));
    published.Withdraw();
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
    for (const auto& words :
         std::vector<std::vector<std::string>>{{"--console"},
                                               {"--scanner"},
                                               {"--service", "--service-process", "9"},
                                               {"--scanner", "--service-process", "x"},
                                               {"--service", "--data"}})
        EXPECT_FALSE(parse(words)) << words.back();
}

}  // namespace
}  // namespace reference_product
