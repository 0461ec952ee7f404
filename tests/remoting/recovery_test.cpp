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

// A server that can be started and stopped.
struct ComingAndGoing {
    result_t Locate(RefPtr<vek::IServiceLocator>& locator) {
        return pair ? pair->client->GetServiceLocator(locator) : result::kNotReady;
    }
    void Start(int& count) {
        pair.emplace(plugins::remoting::RemoteInterfaces(),
                     RefPtr<IMailScanner>(vek::MakeObject<CountingScanner>(count)));
    }

    std::optional<Pair> pair;
};

TEST(RecoveringService, IsFoundAnewAfterARestart) {
    const auto source = std::make_shared<ComingAndGoing>();
    const auto locator = vek::MakeObject<remoting::RecoveringLocator>(
        [source](RefPtr<vek::IServiceLocator>& found) { return source->Locate(found); },
        plugins::remoting::RemoteInterfaces());
    RefPtr<IMailScanner> scanner;
    const auto look = [&] {
        return locator->GetInterface(IMailScanner::kInterfaceId, nullptr, scanner.put_void());
    };
    EXPECT_EQ(look(), result::kNotReady);

    int first = 0, second = 0;
    source->Start(first);
    ASSERT_EQ(look(), result::kOk);
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kOk);

    source->pair->client->Close(result::kRemoteCallFailed);
    source->pair.reset();
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kNotReady);
    source->Start(second);
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kOk);

    // Lost between the call's start and its delivery: made once more, and only once.
    source->pair->client_wire->tamper_request = [&](byte_vector&) {
        source->pair->client->Close(result::kRemoteCallFailed);
        return true;
    };
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kRemoteCallFailed);
    source->Start(second);
    EXPECT_EQ(scanner->CheckMessage(1, true, nullptr), result::kOk);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);

    // Two that recover at once use one stub.
    remoting::RecoveringService service(
        [source](RefPtr<vek::IServiceLocator>& found) { return source->Locate(found); },
        IMailScanner::kInterfaceId);
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
