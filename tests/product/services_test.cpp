#include <gmock/gmock.h>

#include "product/localization_service.h"
#include "product/report_lines.h"
#include "product/settings_service.h"
#include "product/state/text_file.h"
#include "tests/support/temporary_folder.h"
#include "vek/core/ref_ptr.h"

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
        {Settings("null", "false"), result::kOk, {false, false, {}, user}},
    };
    const tests::TemporaryFolder folder;
    const auto path = folder.path() / "settings.json";
    int logged = 0, complaints = 0;
    const auto service =
        vek::MakeObject<SettingsService>(path, [&](std::string_view) { ++logged; });
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

    ReplaceTextFile(path, Settings(policy));
    EXPECT_EQ(service->SetUserSettings({0, 7, 0}), result::kOk);
    EXPECT_EQ(service->GetSettings(settings), result::kOk);
    EXPECT_EQ(settings, (MailPluginSettings{true, false, imposed, {0, 1, 0}}));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
}

TEST(LocalizationService, GivesTextsAndFilesOfItsFolderAlone) {
    const tests::TemporaryFolder folder;
    const auto texts = folder.path() / "texts.json";
    std::filesystem::create_directories(folder.path() / "resources/mail");
    ReplaceTextFile(folder.path() / "resources/mail/main1.ico", "icon");
    const auto service = vek::MakeObject<LocalizationService>(texts, folder.path() / "resources",
                                                              [](std::string_view) {});

    const std::string pair = R"({"resourceName": "a", "utf8Value": "\u00e4"})";
    std::string text;
    ReplaceTextFile(texts, R"({"rightToLeft": true, "texts": [)" + pair + "," + pair + "]}");
    EXPECT_EQ(service->GetText(1, "a", text), result::kInvalidType);
    ReplaceTextFile(texts, R"({"rightToLeft": true, "texts": [)" + pair + "]}");
    EXPECT_EQ(service->GetText(1, "a", text), result::kOk);
    EXPECT_EQ(text, "\xC3\xA4");
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
