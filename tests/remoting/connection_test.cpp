// What two ends agree before the first call, and the handles they name objects by.

#include "tests/remoting/pair_fixture.h"

namespace tests {
namespace {

std::shared_ptr<const remoting::ProxyStubFactories> LocatorFactory() {
    return std::make_shared<const remoting::ProxyStubFactories>(
        std::vector<const remoting::ProxyStubFactory*>{
            remoting::FactoryOf<vek::IServiceLocator>()});
}

TEST(ConnectionFeatures, AreAgreedOnce) {
    Pair pair(LocatorFactory(), nullptr);
    EXPECT_EQ(pair.server->features().SynchronizeWithPeerFeatures({1, 0, 1, 0}), result::kOk);
    const remoting::ProtocolFeatures effective{1, 0, 1, 0};
    EXPECT_EQ(pair.server->features().effective(), effective);
    EXPECT_EQ(
        pair.server_trace->Count("Features = { proxyLoopElimination=1, transferFileHandles=0, "
                                 "objectFlagInStubHandle=1, nullArgumentFlags=0 }"),
        1u);
    EXPECT_EQ(pair.server->features().SynchronizeWithPeerFeatures({1, 0, 1, 0}), result::kOk);
    EXPECT_EQ(pair.server_trace->Count("more than once in Connection("), 1u);
    EXPECT_EQ(pair.server_trace->Count("Attempted modification"), 0u);
    EXPECT_EQ(pair.server->features().SynchronizeWithPeerFeatures({1, 1, 1, 1}), result::kOk);
    EXPECT_EQ(pair.server_trace->Count("500 VEK remoting: Attempted modification"), 1u);
    EXPECT_EQ(pair.server->features().effective(), effective);
}

TEST(ConnectionFeatures, AnIncompatiblePeerIsRefusedByEitherEnd) {
    {
        Pair pair(LocatorFactory(), nullptr, {2, 1, 1, 1});
        RefPtr<vek::IServiceLocator> locator;
        EXPECT_EQ(pair.client->GetServiceLocator(locator), result::kInvalidVersion);
        EXPECT_EQ(pair.server_closed, result::kInvalidVersion);
        EXPECT_EQ(pair.server_trace->Count("running incompatible version of VEK remoting"), 1u);
        EXPECT_EQ(pair.server_trace->Count("came from an incompatible peer"), 1u);
    }
    {
        Pair pair(LocatorFactory(), nullptr);
        pair.client_wire->tamper_reply = [](byte_vector& packet) {
            packet[packet.size() - 9] = std::byte{9};  // the last feature, before the handle
            return false;
        };
        RefPtr<vek::IServiceLocator> locator;
        EXPECT_EQ(pair.client->GetServiceLocator(locator), result::kInvalidVersion);
        EXPECT_EQ(pair.client_closed, result::kInvalidVersion);
        EXPECT_EQ(pair.client_trace->Count("because the capabilitiesof this end"), 1u);
    }
    {
        Pair pair(LocatorFactory(), nullptr);
        byte_vector reply;
        EXPECT_EQ(pair.Raw({0, 0, 0, 0}, {}, reply), result::kInvalidVersion);
        EXPECT_EQ(pair.server_closed, result::kInvalidVersion);
    }
}

TEST(ConnectionFeatures, ShortListsAndAbsentServices) {
    struct Case {
        byte_vector request;
        result_t code;
        const char* trace;
        result_t lock = result::kOk;
        result_t locator = result::kOk;
    };
    const std::byte o{0}, i{1}, four{4};
    const byte_vector good{
        four,           o, o, o, i, i, i, i, std::byte{0xCA}, std::byte{0x3F}, std::byte{0xE3},
        std::byte{0x68}};
    for (const Case& c :
         {Case{{four, o, o, o, i, i}, result::kBufferTooSmall, "Bytes received = 6"},
          Case{{std::byte{2}, o, o, o, i, i, i, i, i, i},
               result::kInvalidSize,
               "Bytes received = 10"},
          Case{good, result::kAccessDenied, "LockMasterObject failed", result::kAccessDenied},
          Case{good, result::kNotReady,
               "Server failed to get its service locator. err = 0x80000063", result::kOk,
               result::kNotReady}}) {
        SCOPED_TRACE(c.trace);
        Pair pair(LocatorFactory(), nullptr);
        pair.master->lock_result = c.lock;
        pair.master->locator_result = c.locator;
        byte_vector reply;
        EXPECT_EQ(pair.Raw({0, 0, 1, 0}, c.request, reply), c.code);
        EXPECT_EQ(pair.server_trace->Count(c.trace), 1u);
        EXPECT_EQ(pair.server_closed, result::kFalse);
    }
}

class FixedGenerator final : public remoting::SequenceGenerator {
public:
    explicit FixedGenerator(std::uint64_t value) : value_(value) {}
    std::uint64_t Next() noexcept override { return value_; }

private:
    std::uint64_t value_;
};

TEST(StubHandles, AreCheckedWhenTheyAreMade) {
    const auto object = vek::MakeObject<OneServiceLocator>(nullptr);
    const auto id = vek::IServiceLocator::kInterfaceId;
    for (const std::uint64_t number : {std::uint64_t{5}, std::uint64_t{1} << 60}) {
        const auto trace = std::make_shared<RecordingTracer>();
        remoting::StubRegistry registry(LocatorFactory(), std::make_unique<FixedGenerator>(number),
                                        trace);
        registry.ApplyFeatures(remoting::kAllFeatures);
        remoting::stub_handle_t handle = 1;
        if (number == 5) {
            EXPECT_EQ(registry.CreateStub(id, object.get(), handle), result::kOk);
            EXPECT_EQ(handle, 5 | remoting::kObjectFlag);
            EXPECT_EQ(registry.CreateStub(id, object.get(), handle), result::kInvalidHandle);
            EXPECT_EQ(trace->Count("Handle collision in StubRegistry(0x"), 1u);
            EXPECT_FALSE(registry.MayReleaseProxy(5 | remoting::kStubFlag));
            EXPECT_EQ(trace->Count("is actually a handle of a stub, not a proxy."), 1u);
        } else {
            EXPECT_EQ(registry.CreateStub(id, object.get(), handle), result::kUnexpected);
            EXPECT_EQ(trace->Count("out-of-range value 0x1000000000000000 to the StubRegistry(0x"),
                      1u);
        }
        registry.Close();
        EXPECT_NE(registry.CreateStub(id, object.get(), handle), result::kOk);
        EXPECT_EQ(registry.size(), 0u);
    }
}

}  // namespace
}  // namespace tests
