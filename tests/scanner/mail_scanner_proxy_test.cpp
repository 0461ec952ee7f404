#include "scanner/mail_scanner_proxy.h"

#include <gtest/gtest.h>

#include <thread>

#include "product/in_process_product.h"
#include "vek/core/exception.h"

namespace plugins::mail_processing {
namespace {

struct Scanner final : vek::ObjectImpl<IMailScanner> {
    vek::result_t CheckMessage(std::uint32_t, bool, IMailMessage*) override { return answer; }
    std::atomic<vek::result_t> answer{vek::result::kFalse};
};

TEST(MailScannerProxy, RetriesUntilConnectedAndThenKeepsTheConnection) {
    const std::uint32_t live_before = vek::LiveObjectCount();
    std::atomic<int> loaders{0};
    vek::result_t factory_result = 0xA6460009;
    auto product = vek::MakeObject<reference_product::InProcessProduct>(nullptr);
    const auto make_loader = [&](vek::RefPtr<ILoader>& loader) {
        if (vek::Failed(factory_result)) return factory_result;
        ++loaders;
        loader = product;
        return vek::result::kOk;
    };
    loader::ServiceAccess services{make_loader}, others{make_loader};
    const auto proxy = vek::MakeObject<MailScannerProxy>(nullptr, services);
    const auto check = [](const vek::RefPtr<MailScannerProxy>& it) {
        try {
            return it->CheckMessage(1, true, nullptr);
        } catch (const vek::CheckResultFailedException& exception) {
            return exception.code();
        }
    };
    EXPECT_EQ(check(proxy), 0xA6460009u);
    factory_result = vek::result::kOk;
    product->FailLoader(0xA646000A);
    EXPECT_EQ(check(proxy), 0xA646000Au);
    product->FailLoader(vek::result::kOk);
    product->FailLocator(0xA646000B);
    EXPECT_EQ(check(proxy), 0xA646000Bu);
    product->FailLocator(vek::result::kOk);
    EXPECT_EQ(check(proxy), vek::result::kNotFound) << "it does not offer a scanner";

    const auto scanner = vek::MakeObject<Scanner>();
    product->Offer(IMailScanner::kInterfaceId, scanner);
    EXPECT_EQ(check(proxy), vek::result::kFalse);
    product->FailLocator(0xA646000B);
    for (const vek::result_t answer : {0x8000004Fu, vek::result::kOk}) {
        scanner->answer = answer;
        EXPECT_EQ(check(proxy), answer) << "by the connection that is there";
    }
    EXPECT_EQ(loaders, 1);
    EXPECT_EQ(vek::LiveObjectCount() - live_before, 3u) << "proxy, product, scanner";

    product->FailLocator(vek::result::kOk);
    const auto shared = vek::MakeObject<MailScannerProxy>(nullptr, others);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 50; ++k) EXPECT_EQ(check(shared), vek::result::kOk);
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(loaders, 2) << "threads that connect at once make one";
}

}  // namespace
}  // namespace plugins::mail_processing
