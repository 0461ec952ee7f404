#include "scanner/mail_scanner_proxy.h"

#include <gtest/gtest.h>

#include <thread>

#include "product/in_process_product.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/exception.h"

namespace plugins::mail_processing {
namespace {

struct Scanner final : vek::ObjectImpl<IMailScanner> {
    vek::result_t CheckMessage(std::uint32_t, bool, IMailMessage*) override { return answer; }
    std::atomic<vek::result_t> answer{vek::result::kFalse};
};

class MailScannerProxyTest : public ::testing::Test {
protected:
    vek::result_t Check() {
        try {
            return proxy_->CheckMessage(1, true, nullptr);
        } catch (const vek::CheckResultFailedException& exception) {
            return exception.code();
        }
    }

    const std::uint32_t live_before_ = vek::LiveObjectCount();
    std::atomic<int> loaders_{0};
    vek::result_t factory_result_ = 0xA6460009;
    vek::RefPtr<reference_product::InProcessProduct> product_ =
        vek::MakeObject<reference_product::InProcessProduct>(nullptr);
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        if (vek::Failed(factory_result_)) return factory_result_;
        loader = product_;
        ++loaders_;
        return vek::result::kOk;
    }};
    vek::RefPtr<MailScannerProxy> proxy_ = vek::MakeObject<MailScannerProxy>(tracer_, services_);
    const vek::RefPtr<Scanner> scanner_ = vek::MakeObject<Scanner>();
};

TEST_F(MailScannerProxyTest, RetriesUntilConnectedAndThenKeepsTheConnection) {
    EXPECT_EQ(tracer_->Count("Connect"), 0u) << "not before the first check";
    EXPECT_EQ(Check(), 0xA6460009u);
    factory_result_ = vek::result::kOk;
    product_->FailLoader(0xA646000A);
    EXPECT_EQ(Check(), 0xA646000Au);
    product_->FailLoader(vek::result::kOk);
    product_->FailLocator(0xA646000B);
    EXPECT_EQ(Check(), 0xA646000Bu);
    product_->FailLocator(vek::result::kOk);
    EXPECT_EQ(Check(), vek::result::kNotFound) << "it does not offer a scanner";
    product_->Offer(IMailScanner::kInterfaceId, scanner_);
    EXPECT_EQ(tracer_->Count("700 Connect to mail_scanner"), 4u);

    EXPECT_EQ(Check(), vek::result::kFalse) << "a success code of the scanner's own";
    product_->FailLocator(0xA646000B);
    scanner_->answer = 0x8000004F;
    EXPECT_EQ(Check(), 0x8000004Fu);
    scanner_->answer = vek::result::kOk;
    EXPECT_EQ(Check(), vek::result::kOk);
    EXPECT_EQ(tracer_->Count("Connect"), 5u);
    EXPECT_EQ(loaders_, 1);
    EXPECT_EQ(vek::LiveObjectCount() - live_before_, 3u) << "proxy, product, scanner";
}

TEST_F(MailScannerProxyTest, ThreadsThatConnectAtOnceMakeOneLoader) {
    factory_result_ = vek::result::kOk;
    product_->Offer(IMailScanner::kInterfaceId, scanner_);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([this] {
            for (int k = 0; k < 50; ++k) EXPECT_EQ(Check(), vek::result::kFalse);
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(loaders_, 1);
}

}  // namespace
}  // namespace plugins::mail_processing
