#include <gmock/gmock.h>

#include "product/localization_service.h"
#include "product/report_lines.h"
#include "product/settings_service.h"
#include "product/settings_store.h"
#include "product/state/rotating_file.h"
#include "product/state/text_file.h"
#include "sandbox/registry/memory_registry.h"
#include "tests/support/temporary_folder.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using namespace plugins::product;

std::string Settings(const std::string& policy, const std::string& enabled = "true") {
    return R"({"isPluginEnabled": )" + enabled + R"(, "checkIncomingOnly": false,
               "policySettings": )" +
           policy + R"(, "userSettings": {"checkOnDelivery": true, "checkOnRead": false,
               "checkOnSend": false}})";
}

TEST(SettingsService, FollowsItsFileAndKeepsWhatItCannotRead) {
    const std::string policy =
        R"({"checkOnDelivery": false, "checkOnRead": false, "checkOnSend": true})";
    const MailSettings user{1, 0, 0}, imposed{0, 0, 1};
    const struct {
        std::string text;
        vek::result_t code;
        MailPluginSettings expected;  // after a failure: what it was before
    } kCases[] = {
        {"", result::kNotFound, {}},
        {Settings("null"), result::kOk, {true, false, {}, user}},
        {Settings(policy), result::kOk, {true, false, imposed, user}},
        {Settings("null").substr(9), result::kInvalidType, {true, false, imposed, user}},
        {Settings("null", "true, \"x\": 1"), result::kInvalidType, {true, false, imposed, user}},
        {Settings("null", "true, \"keptDays\": 0"),
         result::kInvalidType,
         {true, false, imposed, user}},
        {Settings("null", "true, \"keptDays\": 1"), result::kOk, {true, false, {}, user}},
        {Settings("null", "false"), result::kOk, {false, false, {}, user}},
    };
    const tests::TemporaryFolder folder;
    const auto path = folder.path() / "settings.json";
    int logged = 0, complaints = 0;
    const Log log = [&](std::string_view) { ++logged; };
    const auto service = vek::MakeObject<SettingsService>(
        std::make_shared<SettingsStore>(path, "", log), Caller{}, log);
    MailPluginSettings settings;
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.text);
        if (!row.text.empty()) ReplaceTextFile(path, row.text);
        complaints += vek::Failed(row.code);
        for (int time = 0; time < 2; ++time) {
            EXPECT_EQ(service->GetSettings(settings), row.code);
            EXPECT_EQ(settings, row.expected);
            EXPECT_EQ(logged, complaints);
        }
        if (vek::Failed(row.code)) {
            EXPECT_EQ(service->SetUserSettings({1, 1, 1}), row.code);
            EXPECT_EQ(tests::ReadFile(path), row.text);
        }
    }

    ReplaceTextFile(path, Settings(policy, "true, \"rememberedHours\": 7"));
    EXPECT_EQ(service->SetUserSettings({0, 7, 0}), result::kOk);
    EXPECT_EQ(service->GetSettings(settings), result::kOk);
    EXPECT_EQ(settings, (MailPluginSettings{true, false, imposed, {0, 1, 0}}));
    EXPECT_NE(tests::ReadFile(path).find("\"rememberedHours\": 7"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);

    remove(path);
    create_directory(path);  // cannot be read, which each time takes a moment to find out
    const auto begun = std::chrono::steady_clock::now();
    for (int time = 0; time < 30; ++time) EXPECT_EQ(service->GetSettings(settings), result::kOk);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(2));
}

struct SettingsOfUsers : ::testing::Test {
    static constexpr const char16_t* kPolicy = u"SOFTWARE\\Policies\\QZ\\Mail Plugin";

    MailPluginSettings Get(const std::string& account) {
        ProductSettings settings;
        EXPECT_EQ(store.Get(account, settings), result::kOk);
        return settings.plugin;
    }

    const tests::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "settings.json";
    const std::filesystem::path users = folder.path() / "users";
    sandbox::MemoryRegistry registry;
    std::vector<std::string> logged;
    SettingsStore store{file, users, [this](std::string_view line) { logged.emplace_back(line); },
                        registry};
};

TEST_F(SettingsOfUsers, AreKeptForEach) {
    const MailPluginSettings defaults{true, false, {}, {1, 1, 1}};
    const std::string user = "S-1-5-21-1-500";
    EXPECT_EQ(Get(user), defaults);
    const std::string written = tests::ReadFile(file);
    for (const char* other :
         {"", "uid:1", "S-1-", "S-1-5-", "S-1-5--1", "S-1-5/../../x", "S-1-5-x"})
        EXPECT_EQ(store.SetSwitches(other, {0, 0, 0}), result::kAccessDenied) << other;
    EXPECT_FALSE(exists(users));
    EXPECT_EQ(store.SetSwitches(user, {0, 5, 0}), result::kOk);
    EXPECT_EQ(Get(user), (MailPluginSettings{true, false, {}, {0, 1, 0}}));
    for (const char* other : {"", "S-1-5-21-1-501", "../users/S-1-5-21-1-500"})
        EXPECT_EQ(Get(other), defaults) << other;
    EXPECT_EQ(tests::ReadFile(file), written);

    ReplaceTextFile(users / (user + ".json"), "{");
    for (int time = 0; time < 2; ++time) EXPECT_EQ(Get(user), defaults);
    EXPECT_EQ(logged.size(), 10u) << "written, 7 refused, changed, malformed";
    ReplaceTextFile(file, "{");
    ProductSettings settings;
    EXPECT_EQ(store.Get(user, settings), result::kInvalidType);
    EXPECT_EQ(store.OfAll(), std::nullopt);
    EXPECT_EQ(tests::ReadFile(file), "{");
}

TEST_F(SettingsOfUsers, AreOverruledByThePolicy) {
    const MailSettings user{1, 1, 0};
    const MailPluginSettings own{true, false, {}, user};
    const auto bytes = [](std::u16string_view text) { return std::as_bytes(std::span(text)); };
    const auto number = [](const std::uint32_t& value) {
        return std::as_bytes(std::span(&value, 1));
    };
    using vek::platform::RegistryType;
    const std::uint32_t none = 0, one = 1, two = 2;
    const struct {
        const char16_t* name;
        RegistryType type;
        std::span<const std::byte> data;
        MailPluginSettings expected;
        const char* complaint = nullptr;
    } kCases[] = {
        {u"IsPluginEnabled", RegistryType::kDword, number(none), {false, false, {}, user}},
        {u"CheckIncomingOnly", RegistryType::kDword, number(one), {true, true, {}, user}},
        {u"CheckOnDelivery", RegistryType::kDword, number(none), {true, false, {{0, 1, 0}}, user}},
        {u"CheckOnRead", RegistryType::kDword, number(none), {true, false, {{1, 0, 0}}, user}},
        {u"CheckOnSend", RegistryType::kDword, number(one), {true, false, {{1, 1, 1}}, user}},
        {u"CheckOnSend", RegistryType::kDword, number(two), own, "is out of its range"},
        {u"CheckOnSend", RegistryType::kBinary, number(one), own, "has another type"},
        {u"CheckOnSend", RegistryType::kDword, number(one).first(3), own, "is not whole"},
        {u"Engine", RegistryType::kString, bytes(u"clamd"), own},
        {u"Engine", RegistryType::kString, bytes(u"other"), own, "names no engine"},
        {u"Engine", RegistryType::kString, bytes(std::u16string_view(u"\0", 1)), own,
         "is not one text"},
        {u"EngineAddresses", RegistryType::kMultiString,
         bytes(std::u16string_view(u"tcp:a:1\0unix:/b\0\0", 17)), own},
        {u"EngineAddresses", RegistryType::kMultiString, bytes(u"tcp:a:0"), own, "no address"},
        {u"EngineSecondsPerPart", RegistryType::kDword, number(none), own, "is out of its range"},
        {u"EngineAddresses", RegistryType::kString, bytes(u"a"), own, "has another type"},
    };
    ASSERT_EQ(store.SetSwitches("S-1-5-1", user), result::kOk);
    for (const auto& row : kCases) {
        SCOPED_TRACE(vek::ToUtf8(row.name));
        registry.Set(kPolicy, u"Unknown", u"x");
        vek::platform::RegistryHandle key{};
        ASSERT_EQ(registry.Create(vek::platform::RegistryHandle::kLocalMachine, kPolicy,
                                  vek::platform::registry_access::kWrite, key),
                  0u);
        ASSERT_EQ(registry.SetValue(key, row.name, row.type, row.data), 0u);
        registry.Close(key);
        logged.clear();
        for (int time = 0; time < 2; ++time) EXPECT_EQ(Get("S-1-5-1"), row.expected);
        // The first one has the file of all written.
        EXPECT_EQ(logged.size(), row.complaint != nullptr || &row == kCases ? 1u : 0u);
        if (row.complaint != nullptr) {
            EXPECT_THAT(logged.front(), testing::HasSubstr(row.complaint));
        }
        const auto all = store.OfAll();
        EXPECT_EQ(all->engine.name,
                  row.name == std::u16string_view(u"Engine") && !row.complaint ? "clamd" : "rules");
        EXPECT_EQ(all->engine.addresses.size(), row.data.size() == 34 ? 2u : 0u);
        registry.DeleteTree(kPolicy);
        EXPECT_EQ(Get("S-1-5-1"), own);
    }
}

struct LocalizationServiceTest : ::testing::Test {
    void Write(const char* file, const std::string& name, const char* also = "") {
        const std::string pair = R"({"resourceName": ")" + name + R"(", "utf8Value": ")" + file;
        ReplaceTextFile(folder.path() / file,
                        R"({"rightToLeft": true, "texts": [)" + pair + "\"}" + also + "]}");
    }
    std::string Text(const char* key) {
        std::string text;
        const vek::result_t code = service->GetText(1, key, text);
        return vek::Succeeded(code) ? text : "";
    }

    const tests::TemporaryFolder folder;
    int logged = 0;
    const vek::RefPtr<LocalizationService> service = vek::MakeObject<LocalizationService>(
        std::make_shared<TextFolder>(folder.path(), [this](std::string_view) { ++logged; }),
        folder.path() / "resources");
};

TEST_F(LocalizationServiceTest, GivesTextsAndFilesOfItsFoldersAlone) {
    std::filesystem::create_directories(folder.path() / "resources/mail");
    ReplaceTextFile(folder.path() / "resources/mail/main1.ico", "icon");
    std::string text;
    Write("en.json", "a", R"(, {"resourceName": "a", "utf8Value": ""})");
    EXPECT_EQ(service->GetText(1, "a", text), result::kInvalidType);
    Write("en.json", "a", R"(, {"resourceName": "\u00e4", "utf8Value": "\u00e4"})");
    EXPECT_EQ(Text("a") + Text("\xC3\xA4"), "en.json\xC3\xA4");
    EXPECT_EQ(service->GetText(1, "b", text), result::kNotFound);
    EXPECT_EQ(service->GetText(2, "a", text), result::kInvalidArgument);
    std::string path;
    for (const char* outside : {"", "..\\texts.json", "mail/../../texts.json", "/etc/passwd",
                                "\\\\server\\x", "C:x", "C:\\x"})
        EXPECT_EQ(service->ResolveResource(1, outside, path), result::kInvalidArgument) << outside;
    EXPECT_EQ(service->ResolveResource(1, "mail\\main2.ico", path), result::kNotFound);
    EXPECT_EQ(service->ResolveResource(1, "mail\\main1.ico", path), result::kOk);
    EXPECT_EQ(tests::ReadFile(PathOf(path)), "icon");
}

TEST_F(LocalizationServiceTest, SpeaksTheFirstWantedLanguageThatItHas) {
    for (const char* file : {"en.json", "de.json", "he.json", "zh-Hant.json"}) Write(file, "a");
    Write("pt-BR.json", "only");
    ReplaceTextFile(folder.path() / "fr.json", "{");
    const struct {
        std::string languages, expected;
    } kCases[] = {
        {"", "en"},
        {"de", "de"},
        {"DE-at", "de"},
        {"sv-SE;iw-IL;de", "he"},
        {"zh-hant-tw;de", "zh-Hant"},
        {"zh-TW", "en"},
        {"fr-CA;de", "de"},
        {"pt-br", "en"},  // what it lacks is English
        {"../de;d/e;de_DE;de-;de\\x;;x", "en"},
        {std::string(kLongestUserLanguages - 2, ';') + "de", "de"},
    };
    for (const auto& row : kCases) {
        ASSERT_EQ(service->SetUserLanguages(row.languages), result::kOk);
        EXPECT_EQ(Text("a"), row.expected + ".json") << row.languages;
    }
    EXPECT_EQ(logged, 1) << "fr.json";
    EXPECT_EQ(service->SetUserLanguages(std::string(kLongestUserLanguages, ';') + "x"),
              result::kInvalidArgument);
    EXPECT_EQ(Text("a"), "de.json");
    Write("de.json", "b");
    EXPECT_EQ(Text("b") + Text("a"), "de.jsonen.json");
    Write("de.json", "NoticeBody");
    Write("en.json", "NoticeMore");
    const NoticeTexts notices = service->Notices();
    EXPECT_EQ(notices.body + notices.more + notices.left, "de.jsonen.json" + NoticeTexts().left);
}

TEST(RotatingFile, BeginsAnewWhenItIsFullAndKeepsOneBefore) {
    const tests::TemporaryFolder folder;
    const auto path = folder.path() / "log";
    RotatingFile file(path, 10);
    for (const char* text : {"12345", "67890", "abc", "longer than all", "d"})
        EXPECT_TRUE(file.Append(text));
    EXPECT_EQ(tests::ReadFile(path), "d");
    EXPECT_EQ(tests::ReadFile(folder.path() / "log.1"), "longer than all");
}

TEST(Reports, ReachAReaderLineByLine) {
    const tests::TemporaryFolder folder;
    const auto path = folder.path() / "reports.jsonl";
    ReportReader reader(path);
    ScanReport report;
    report.summary = "not UTF-8: \xE4";
    report.failures = {{"Read", 0x80000041}};
    for (int process = 0; process < 2; ++process) {  // it may be started again
        ReportWriter writer(path);
        EXPECT_FALSE(reader.Next());
        for (const std::uint32_t number : {1u, 2u}) EXPECT_EQ(writer.Write(report), number);
        for (const std::uint32_t number : {1u, 2u})
            EXPECT_EQ(ToReportLine(reader.Next().value()), ToReportLine({number, report}));
        report.failures.clear();  // a file that begins anew is shorter
    }
    std::ofstream(path, std::ios::app) << ToReportLine({3, report}).substr(0, 30);
    EXPECT_FALSE(reader.Next());
}

}  // namespace
}  // namespace reference_product
