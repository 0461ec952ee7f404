// A service's proxy outlives the process that serves it.

#include "common/remoting/remote_interfaces.h"
#include "private_include/common/mail_scanner.h"
#include "tests/remoting/pair_fixture.h"
#include "vek/remoting/recovering_service.h"

namespace tests {
namespace {

using plugins::mail_processing::IMailMessage;
using plugins::mail_processing::IMailScanner;

class CountingScanner final : public vek::ObjectImpl<IMailScanner> {
public:
    explicit CountingScanner(int& count) : count_(count) {}
    result_t CheckMessage(std::uint32_t, bool, IMailMessage*) override {
        ++count_;
        return result::kOk;
    }

private:
    int& count_;
};

TEST(RecoveringService, IsFoundAnewAfterARestart) {
    std::optional<Pair> server;  // while it runs
    const auto start = [&](int& count) {
        server.emplace(plugins::remoting::RemoteInterfaces(),
                       RefPtr<IMailScanner>(vek::MakeObject<CountingScanner>(count)));
    };
    const auto locate = [&](RefPtr<vek::IServiceLocator>& locator) {
        return server ? server->client->GetServiceLocator(locator) : result::kNotReady;
    };
    const auto locator =
        vek::MakeObject<remoting::RecoveringLocator>(locate, plugins::remoting::RemoteInterfaces());
    RefPtr<IMailScanner> scanner;
    const auto look = [&] {
        return locator->GetInterface(IMailScanner::kInterfaceId, nullptr, scanner.put_void());
    };
    EXPECT_EQ(look(), result::kNotReady);

    int first = 0, second = 0;
    start(first);
    ASSERT_EQ(look(), result::kOk);
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kOk);

    server->client->Close(result::kRemoteCallFailed);
    server.reset();
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kNotReady);
    start(second);
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kOk);

    // Lost between the call's start and its delivery: made once more, and only once.
    server->client_wire->tamper_request = [&](byte_vector&) {
        server->client->Close(result::kRemoteCallFailed);
        return true;
    };
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kRemoteCallFailed);
    start(second);
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kOk);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);

    // Two that recover at once use one stub.
    remoting::RecoveringService service(locate, IMailScanner::kInterfaceId);
    RefPtr<vek::IObject> one, other;
    remoting::StubAddress address, same;
    ASSERT_EQ(service.Find(one), result::kOk);
    ASSERT_EQ(service.Find(other), result::kOk);
    EXPECT_EQ(service.Adopt(std::move(one), address), result::kOk);
    EXPECT_EQ(service.Adopt(std::move(other), same), result::kOk);
    EXPECT_EQ(same.handle, address.handle);

    void* nothing = nullptr;
    EXPECT_EQ(locator->GetInterface(0x7777, nullptr, &nothing), result::kInterfaceNotSupported);
    EXPECT_EQ(locator->GetInterface(IMailScanner::kInterfaceId, &nothing, &nothing),
              result::kInvalidArgument);
}

}  // namespace
}  // namespace tests
