#include "scanner/mail_scanner_proxy.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/recording_tracer.h"
#include "vek/core/exception.h"

namespace plugins::mail_processing {
namespace {

// A product whose every step can be made to fail.
struct Product {
    vek::result_t factory = vek::result::kOk;
    vek::result_t locator = vek::result::kOk;
    vek::result_t service = vek::result::kOk;
    vek::result_t check = vek::result::kOk;
    std::atomic<int> loaders{0};
    std::atomic<int> checks{0};
};

struct Scanner final : vek::ObjectImpl<IMailScanner> {
    explicit Scanner(Product& of) : product(of) {}
    vek::result_t CheckMessage(std::uint32_t, bool, IMailMessage*) override {
        ++product.checks;
        return product.check;
    }
    Product& product;
};

struct Locator final : vek::ObjectImpl<IServiceLocator> {
    explicit Locator(Product& of) : product(of) {}
    vek::result_t GetInterface(vek::interface_id_t id, const void* reserved,
                               void** service) noexcept override {
        EXPECT_EQ(id, IMailScanner::kInterfaceId);
        EXPECT_EQ(reserved, nullptr);
        if (vek::Succeeded(product.service)) *service = vek::MakeObject<Scanner>(product).detach();
        return product.service;
    }
    Product& product;
};

struct Loader final : vek::ObjectImpl<ILoader> {
    explicit Loader(Product& of) : product(of) { ++product.loaders; }
    vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept override {
        EXPECT_EQ(id, IServiceLocator::kInterfaceId);
        if (vek::Succeeded(product.locator)) *object = vek::MakeObject<Locator>(product).detach();
        return product.locator;
    }
    Product& product;
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
    Product product_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        if (vek::Succeeded(product_.factory)) loader = vek::MakeObject<Loader>(product_);
        return product_.factory;
    }};
    vek::RefPtr<MailScannerProxy> proxy_ = vek::MakeObject<MailScannerProxy>(tracer_, services_);
};

TEST_F(MailScannerProxyTest, RetriesUntilConnectedAndThenKeepsTheConnection) {
    EXPECT_EQ(tracer_->Count("Connect"), 0u) << "not before the first check";
    std::size_t attempts = 0;
    for (vek::result_t Product::*step : {&Product::factory, &Product::locator, &Product::service}) {
        product_.*step = 0xA6460009;
        EXPECT_EQ(Check(), 0xA6460009u);
        EXPECT_EQ(tracer_->Count("700 Connect to mail_scanner"), ++attempts);
        product_.*step = vek::result::kOk;
    }
    product_.check = vek::result::kFalse;
    for (int i = 0; i < 100; ++i) EXPECT_EQ(Check(), vek::result::kFalse);
    product_.check = vek::result_t{0x8000004F};
    EXPECT_EQ(Check(), vek::result_t{0x8000004F});
    product_.check = vek::result::kOk;
    EXPECT_EQ(Check(), vek::result::kOk);
    EXPECT_EQ(tracer_->Count("Connect"), attempts + 1);
    EXPECT_EQ(product_.loaders, 1);
    EXPECT_EQ(vek::LiveObjectCount() - live_before_, 3u) << "proxy, loader, scanner: no locator";
}

TEST_F(MailScannerProxyTest, ThreadsThatConnectAtOnceMakeOneLoader) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 50; ++k) EXPECT_EQ(Check(), vek::result::kOk);
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(product_.loaders, 1);
    EXPECT_EQ(product_.checks, 400);
}

}  // namespace
}  // namespace plugins::mail_processing
