#include "settings/product_settings_provider.h"

#include <gtest/gtest.h>

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
    ~ProductSettingsProviderTest() override { EXPECT_EQ(fake_->unlimited, 0); }

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

    std::function<vek::result_t(Record&)> answer_ = [this](Record& it) { return it = record_, 0; };
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
    const struct {
        Record settings;
        std::string checked;  // on read, on delivery, on send, and for a kind that there is not
    } kCases[] = {{{false, true, kAll, kAll}, "----"},   {{true, true, kAll, kAll}, "rd--"},
                  {{true, false, kNone, kAll}, "----"},  {{true, false, kRead, kDelivery}, "r---"},
                  {{true, true, {}, kDelivery}, "-d--"}, {{true, false, {}, kSend}, "--s-"},
                  {{true, false, {}, kAll}, "rds-"},     {{true, true, {}, kAll}, "rd--"}};
    for (const auto& row : kCases) {
        record_ = row.settings;
        clock_.ticks += 1000;
        for (std::uint8_t kind = 0; kind < 4; ++kind)
            EXPECT_EQ(Ask(kind), row.checked[kind] != '-') << row.checked << ' ' << +kind;
    }
    EXPECT_EQ(fake_->asked, 8);
}

TEST_F(ProductSettingsProviderTest, AsksWhenTheStampPlusASecondIsNotAheadOfTheTicks) {
    // From 4294966784 on the sum has wrapped.
    const std::uint32_t kTicks[] = {999, 1000, 1999, 2000, 4294966784, 4294966785, 256, 489};
    std::string asked;
    for (const std::uint32_t ticks : kTicks) {
        clock_.ticks = ticks;
        const int before = fake_->asked;
        provider_.Refresh();
        asked += fake_->asked == before ? '-' : 'a';
    }
    EXPECT_EQ(asked, "-a-aaa-a");
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
    EXPECT_THROW(provider_.SetUserSettings(kAll), vek::CheckResultFailedException);
    EXPECT_EQ(fake_->asked, 2);

    product_->FailLocator(vek::result::kOk);
    provider_.SetUserSettings(kDelivery);
    EXPECT_EQ(fake_->kept, kDelivery);
    fake_->keep = kGone;
    EXPECT_THROW(provider_.SetUserSettings(kAll), vek::CheckResultFailedException);
    answer_ = [](Record& settings) { return settings = {true, true, kDelivery, kRead}, 0u; };
    clock_.ticks = 3500;
    EXPECT_EQ(Page(), (PageSettingsView{false, false, true, false, true, false}))
        << "not before the product has said so";
    provider_.Expire();
    EXPECT_EQ(Page(), (PageSettingsView{true, true, false, true, false, false}));
}

TEST_F(ProductSettingsProviderTest, ASlowAnswerHoldsUpNobodyAndDoesNotReplaceALaterOne) {
    vek::platform::Flag asked, go;
    answer_ = [&](Record& settings) {
        if (fake_->asked == 2) return settings = {true, false, {}, kAll}, 0u;
        asked.Raise(), go.Wait();
        return settings = {}, 0u;
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
