#include <gmock/gmock.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <vector>

#include "product/in_process_product.h"
#include "product/localization_service.h"
#include "product/mail_scanner.h"
#include "product/settings_service.h"
#include "product/settings_window/status_reader.h"
#include "product/settings_window_service.h"
#include "product/state/text_file.h"
#include "product/status/status_service.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/wait_until.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using plugins::product::MailSettings;

constexpr auto kSilent = [](std::string_view) {};

// Every text is its key.
WindowTexts Keys() {
    return WindowTexts(vek::MakeObject<LocalizationService>(
        std::make_shared<TextFolder>("none", kSilent), "none"));
}

TEST(SettingsWindow, SaysWhetherMailIsCheckedAndWhoDecides) {
    const MailSettings all{1, 1, 1}, none{0, 0, 0};
    struct Row {
        vek::result_t code;
        Protection protection;
        bool incoming_only;
        std::optional<MailSettings> policy;
        // State, reason, note; whether the boxes are checked and free.
        std::string shown;
    };
    const Row kRows[] = {
        {result::kOk, Protection::kOn, false, {}, "Enabled|||111|111"},
        {result::kOk, Protection::kOn, true, {}, "Enabled|||110|110"},
        {result::kOk, Protection::kOn, false, none, "Enabled||PolicyNote|000|000"},
        {result::kOk, Protection::kOff, false, {}, "Disabled|SwitchedOff||111|111"},
        {result::kOk, Protection::kOffByPolicy, false, {}, "Disabled|OffByPolicy||111|111"},
        {result::kOk, Protection::kNoEngine, false, {}, "Disabled|NoEngine||111|111"},
        {result::kNotReady, Protection::kOn, false, all, "Disabled|NoService||000|000"},
    };
    for (const Row& row : kRows) {
        const WindowSnapshot snapshot{row.code,
                                      {row.protection, "", "E 1", "7"},
                                      {true, row.incoming_only, row.policy, all},
                                      {}};
        const WindowContent content = Describe(snapshot, Keys(), vek::platform::TheClock());
        std::string shown;
        for (const std::u16string& text : {content.state, content.reason, content.switches_note}) {
            std::string key = vek::ToUtf8(text);
            for (const std::string prefix : {"AntiVirusMailProtection", "SettingsWindow"})
                if (key.starts_with(prefix)) key.erase(0, prefix.size());
            shown += key + '|';
        }
        for (const bool checked : content.checked) shown += checked ? '1' : '0';
        shown += '|';
        for (const bool enabled : content.enabled) shown += enabled ? '1' : '0';
        EXPECT_EQ(shown, row.shown);
        EXPECT_EQ(content.is_on, row.shown.starts_with("Enabled"));
    }
}

TEST(SettingsWindow, KeepsEachUsersFindsAndAFileThatIsBrokenHarmsNobody) {
    const tests::TemporaryFolder folder;
    {
        FindHistory history(folder.path() / "finds", kSilent);
        for (std::uint32_t i = 0; i != FindHistory::kPerUser + 3; ++i)
            history.Add("S-1-5-21-7", {i, "\xFF subject", "found", "done"});
        history.Add("uid:5", {1, "another's", "", ""});
    }
    ReplaceTextFile(folder.path() / "finds/S-1-5-9.json", "[{\"time\": 1}");
    int complaints = 0;
    FindHistory history(folder.path() / "finds", [&](std::string_view) { ++complaints; });
    EXPECT_EQ(history.Get("S-1-5-21-7", 0)->time, FindHistory::kPerUser + 2);
    EXPECT_TRUE(history.Get("S-1-5-21-7", FindHistory::kPerUser - 1));
    EXPECT_FALSE(history.Get("S-1-5-21-7", FindHistory::kPerUser));
    EXPECT_EQ(history.Get("uid:5", 0)->subject, "another's");
    EXPECT_FALSE(history.Get("S-1-5-9", 0));
    EXPECT_EQ(complaints, 1);
    for (const char* account : {"", "..", "a/b", "a\\b", "a.b"})
        EXPECT_THROW(history.Add(account, {}), std::invalid_argument);
}

TEST(SettingsWindow, IsOpenedOnceAtATimeInASession) {
    std::promise<void> done;
    const std::shared_future<void> end = done.get_future();
    const auto openings = std::make_shared<WindowOpenings>();
    const auto open = [&](std::uint32_t session) {
        return vek::MakeObject<SettingsWindowService>(
                   kSilent, [end] { end.wait(); }, Caller{7, session, "S-1-5-7"}, openings)
            ->Open(7);
    };
    EXPECT_EQ(open(1), result::kOk);
    EXPECT_EQ(open(1), result::kNotReady);
    EXPECT_EQ(open(2), result::kOk);
    done.set_value();
    EXPECT_TRUE(tests::WaitUntil([&] { return open(1) == result::kOk; }));
}

TEST(SettingsWindow, AsksTheProductStoresSwitchesAndNoticesThatItHasGone) {
    const tests::TemporaryFolder folder;
    const auto file = folder.path() / "settings.json";
    ReplaceTextFile(file, R"({"isPluginEnabled": true, "checkIncomingOnly": false,
        "policySettings": null, "userSettings":
        {"checkOnDelivery": true, "checkOnRead": true, "checkOnSend": true}})");
    const auto finds = std::make_shared<FindHistory>(folder.path() / "finds", kSilent);
    finds->Add("uid:7", {1, "subject", "found", "done"});
    const auto product = vek::MakeObject<InProcessProduct>(
        vek::MakeObject<ScriptedScanner>([](bool, auto&) { return result::kOk; }));
    product->Offer(plugins::product::IProductSettings::kInterfaceId,
                   vek::MakeObject<SettingsService>(
                       std::make_shared<SettingsStore>(file, "", kSilent), Caller{}, kSilent));
    product->Offer(IProductStatus::kInterfaceId,
                   vek::MakeObject<StatusService>(
                       [] {
                           return ProductStatus{Protection::kOn, "", "E 1", "7"};
                       },
                       finds, "uid:7"));
    plugins::loader::ServiceAccess services([&](vek::RefPtr<plugins::ILoader>& loader) {
        loader = product;
        return result::kOk;
    });

    std::mutex lock;
    std::condition_variable told;
    std::vector<std::pair<WindowSnapshot, std::optional<vek::result_t>>> news;
    StatusReader reader(
        services,
        [&](WindowSnapshot snapshot, std::optional<vek::result_t> stored) {
            const std::lock_guard guard(lock);
            news.emplace_back(std::move(snapshot), stored);
            told.notify_all();
        },
        std::chrono::milliseconds(5));
    const auto await = [&](auto&& is_so) {
        std::unique_lock guard(lock);
        const bool seen = told.wait_for(guard, std::chrono::seconds(10),
                                        [&] { return !news.empty() && is_so(news.back()); });
        news.clear();
        return seen;
    };
    EXPECT_TRUE(await([](const auto& last) {
        return last.first.code == result::kOk && last.first.finds.size() == 1 &&
               last.first.status.engine == "E 1" && !last.second;
    }));
    reader.Store({0, 1, 0});
    EXPECT_TRUE(await([](const auto& last) {
        return last.second == result::kOk &&
               last.first.settings.userSettings == MailSettings{0, 1, 0};
    }));
    product->FailLocator(result::kRemoteCallFailed);
    EXPECT_TRUE(await([](const auto& last) { return vek::Failed(last.first.code); }));
    reader.Store({1, 1, 1});
    EXPECT_TRUE(await([](const auto& last) { return last.second && vek::Failed(*last.second); }));
}

}  // namespace
}  // namespace reference_product
