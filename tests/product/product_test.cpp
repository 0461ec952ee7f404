#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "tests/product/fake_message.h"

namespace reference_product {
namespace {

namespace result = vek::result;

TEST(InProcessProduct, GivesTheScannerUnlessItIsUnreachable) {
    const auto scanner = vek::MakeObject<MailScanner>(std::make_shared<ScannerEngine>());
    const auto product = vek::MakeObject<InProcessProduct>(scanner);
    const struct {
        vek::result_t loader, locator;
        vek::interface_id_t service;
        vek::result_t expected;
    } cases[] = {
        {result::kOk, result::kOk, 0x492B374D, result::kOk},
        {result::kOk, result::kOk, 0xAF86C16C, result::kNotFound},
        {0x80010107, result::kOk, 0x492B374D, 0x80010107},
        {result::kOk, result::kAccessDenied, 0x492B374D, result::kAccessDenied},
    };
    for (const auto& [loader_code, locator_code, service, expected] : cases) {
        product->FailLoader(loader_code);
        product->FailLocator(locator_code);
        const vek::RefPtr<plugins::ILoader> loader = product;
        vek::RefPtr<plugins::IServiceLocator> locator;
        vek::RefPtr<mail::IMailScanner> found;
        vek::result_t code = loader->GetInterface(0x68E33FCA, locator.put_void());
        if (locator) code = locator->GetInterface(service, nullptr, found.put_void());
        EXPECT_EQ(code, expected);
        EXPECT_EQ(found.get(), expected == result::kOk ? scanner.get() : nullptr);
    }
    EXPECT_EQ(product->loader_lookups(), 4u);
    EXPECT_EQ(product->locator_lookups(), 3u);
}

TEST(Scanners, CheckSeveralMessagesAtOnce) {
    const auto engine = std::make_shared<ScannerEngine>(
        ParseRules("when body contains \"x\" do set-subject \"[x] {subject}\"", "f").rules);
    std::atomic<int> reports{0};
    const auto scanner =
        vek::MakeObject<MailScanner>(engine, [&](const ScanReport&) { ++reports; });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                const auto message = vek::MakeObject<FakeMessage>();
                message->plain.emplace().content.assign(70001, ' ').back() = 'x';
                EXPECT_EQ(scanner->CheckMessage(1, true, message.get()), result::kOk);
                EXPECT_EQ(message->subject, u"[x] Hello");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(reports, 80);
}

}  // namespace
}  // namespace reference_product
