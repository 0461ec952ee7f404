#include "settings/product_settings_provider.h"

#include <gmock/gmock.h>

#include <thread>

#include "product/in_process_product.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_settings.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/throw.h"
#include "vek/platform/flag.h"

namespace plugins::mail_processing {
namespace {

using product::MailSettings;
using Record = product::MailPluginSettings;
constexpr MailSettings kAll{1, 0xFFFFFFFF, 2}, kNone{}, kDelivery{1, 0, 0}, kRead{0, 1, 0},
    kSend{0, 0, 1};
constexpr vek::result_t kGone = 0x80020224;

class ProductSettingsProviderTest : public ::testing::Test {
protected:
    ProductSettingsProviderTest() {
        product_->Offer(product::IProductSettings::kInterfaceId, fake_);
    }

    // The failing code, or whether the message is to be checked.
    std::uint32_t Ask(std::uint8_t kind) {
        try {
            return provider_.IsNeedScan(kind);
        } catch (const vek::CheckResultFailedException& exception) {
            return exception.code();
        }
    }
    PageSettingsView Page() {
        PageSettingsView view;
        provider_.GetSettingsForPage(view);
        return view;
    }

    std::function<vek::result_t(Record&)> answer_ = [this](Record& settings) {
        settings = record_;
        return vek::result::kOk;
    };
    Record record_;
    vek::RefPtr<tests::FakeSettings> fake_ =
        vek::MakeObject<tests::FakeSettings>([this](Record& record) { return answer_(record); });
    vek::RefPtr<reference_product::InProcessProduct> product_ =
        vek::MakeObject<reference_product::InProcessProduct>(nullptr);
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        loader = product_;
        return vek::result::kOk;
    }};
    tests::FakeClock clock_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    ProductSettingsProvider provider_{services_, clock_, tracer_};
};

TEST_F(ProductSettingsProviderTest, DecidesByTheFirstSettingThatApplies) {
    const std::string off = "700 Plugin disabled. Scanning not needed";
    const std::string incoming = "700 Check incoming only setted. Scanning not need on send";
    const std::string policy = "700 IsNeedScan by policy: ",
                      user = "700 IsNeedScan by user settings: ";
    const struct {
        Record settings;
        std::string lines[4];  // for read, delivery, send and a kind that there is not
    } kCases[] = {
        {{false, true, kAll, kAll}, {off, off, off, off}},
        {{true, true, kAll, kAll}, {policy + "1", policy + "1", incoming, policy + "0"}},
        {{true, false, kNone, kAll}, {policy + "0", policy + "0", policy + "0", policy + "0"}},
        {{true, false, kRead, kDelivery}, {policy + "1", policy + "0", policy + "0", policy + "0"}},
        {{true, true, {}, kDelivery}, {user + "0", user + "1", incoming, user + "0"}},
        {{true, false, {}, kSend}, {user + "0", user + "0", user + "1", user + "0"}},
        {{true, false, {}, kAll}, {user + "1", user + "1", user + "1", user + "0"}}};
    for (const auto& row : kCases) {
        record_ = row.settings;
        clock_.ticks += 1000;
        for (std::uint8_t kind = 0; kind < 4; ++kind) {
            EXPECT_EQ(Ask(kind), row.lines[kind].back() == '1') << &row - kCases << ' ' << +kind;
            EXPECT_EQ(tracer_->lines().back(), row.lines[kind]);
        }
    }
    EXPECT_EQ(fake_->asked, 7);
    EXPECT_EQ(tracer_->Count("700 Skip update for ConfigUpdateTime"), 21u);
}

TEST_F(ProductSettingsProviderTest, AsksWhenTheStampPlusASecondIsNotAheadOfTheTicks) {
    const struct {
        std::uint32_t ticks;
        bool asks;
    } kSteps[] = {{999, false},       {1000, true},       {1999, false}, {2000, true},
                  {4294966784, true}, {4294966785, true},  // the sum has wrapped already
                  {256, false},       {489, true}};
    for (const auto& step : kSteps) {
        clock_.ticks = step.ticks;
        const int before = fake_->asked;
        provider_.Refresh();
        EXPECT_EQ(fake_->asked - before, step.asks) << step.ticks;
    }
}

TEST_F(ProductSettingsProviderTest, AProductThatIsDownIsAskedOnceASecondAndTheLastSettingsStay) {
    record_ = {true, true, {}, kRead};
    clock_.ticks = 1000;
    EXPECT_EQ(Page(), (PageSettingsView{true, false, true, false, true, false}));
    answer_ = [](Record& settings) { return settings = {true, false, kAll, kAll}, kGone; };
    clock_.ticks = 2000;
    EXPECT_EQ(Ask(mail_event::kSend), kGone);
    EXPECT_EQ(Ask(mail_event::kRead), 1u) << "within the second, by what was";
    product_->FailLocator(kGone);
    clock_.ticks = 3000;
    EXPECT_EQ(Page(), (PageSettingsView{false, false, true, false, true, false}));
    EXPECT_EQ(tracer_->Count("300 CheckResultFailedException - "), 1u);
    EXPECT_THROW(provider_.SetUserSettings(kAll), vek::CheckResultFailedException);
    EXPECT_EQ(fake_->asked, 2);

    product_->FailLocator(vek::result::kOk);
    provider_.SetUserSettings(kDelivery);
    EXPECT_EQ(fake_->kept, kDelivery);
    fake_->keep = kGone;
    EXPECT_THROW(provider_.SetUserSettings(kAll), vek::CheckResultFailedException);
    EXPECT_EQ(Page().checkOnRead, true) << "not before the product has said so";
    answer_ = [](Record& settings) { return settings = {true, true, kDelivery, kRead}, 0u; };
    clock_.ticks = 4000;
    EXPECT_EQ(Page(), (PageSettingsView{true, true, false, true, false, false}));
    answer_ = [](Record& settings) { return settings = {false, false, {}, kSend}, 0u; };
    clock_.ticks = 5000;
    EXPECT_EQ(Page(), (PageSettingsView{false, false, false, false, false, true}));
}

TEST_F(ProductSettingsProviderTest, ASlowAnswerHoldsUpNobodyAndDoesNotReplaceALaterOne) {
    vek::platform::Flag asked, go;
    answer_ = [&](Record& settings) {
        if (fake_->asked == 1) {
            asked.Raise();
            go.Wait();
            return settings = {}, 0u;
        }
        return settings = {true, false, {}, kAll}, 0u;
    };
    clock_.ticks = 1000;
    std::thread slow([&] { provider_.Refresh(); });
    asked.Wait();
    EXPECT_EQ(Ask(mail_event::kRead), 0u) << "asked already, no answer yet";
    clock_.ticks = 2000;
    EXPECT_EQ(Ask(mail_event::kRead), 1u);
    go.Raise();
    slow.join();
    EXPECT_TRUE(provider_.IsPluginEnabled());
    EXPECT_EQ(fake_->asked, 2);
}

}  // namespace
}  // namespace plugins::mail_processing
