// The parts of a connection: what two ends agree before the first call, the handles they name
// objects by, and how those are given back.

#include "tests/remoting/pair_fixture.h"
#include "vek/remoting/call_frame.h"
#include "vek/remoting/invocation.h"

namespace tests {
namespace {

using namespace std::literals;
using remoting::ProtocolFeatures;

std::shared_ptr<const remoting::ProxyStubFactories> LocatorFactory() {
    return std::make_shared<const remoting::ProxyStubFactories>(
        std::vector<const remoting::ProxyStubFactory*>{
            remoting::FactoryOf<vek::IServiceLocator>()});
}

// Gives the same number again and again.
struct FixedGenerator final : remoting::SequenceGenerator {
    explicit FixedGenerator(std::uint64_t number) : value(number) {}
    std::uint64_t Next() noexcept override { return value; }
    const std::uint64_t value;
};

struct Registry {
    explicit Registry(std::unique_ptr<remoting::SequenceGenerator> generator =
                          std::make_unique<remoting::CountingGenerator>())
        : stubs(LocatorFactory(), std::move(generator), trace) {}
    result_t Create(remoting::stub_handle_t& handle) {
        return stubs.CreateStub(vek::IServiceLocator::kInterfaceId, object.get(), handle);
    }
    RefPtr<OneServiceLocator> object = vek::MakeObject<OneServiceLocator>(nullptr);
    std::shared_ptr<RecordingTracer> trace = std::make_shared<RecordingTracer>(800);
    remoting::StubRegistry stubs;
};

TEST(FeatureAgreement, IsWhatBothEndsCanAndNeed) {
    struct Case {
        ProtocolFeatures mine, peer, required;
        result_t code;
        ProtocolFeatures effective;
    };
    const ProtocolFeatures all = remoting::kAllFeatures, none{};
    const auto bad = result::kInvalidVersion;
    for (const Case& c : {Case{all, {1, 0, 1, 0}, none, result::kOk, {1, 0, 1, 0}},
                          {{0, 1, 1, 0}, {1, 1, 0, 0}, {0, 1, 0, 0}, result::kOk, {0, 1, 0, 0}},
                          {all, {1, 0, 1, 0}, {0, 0, 0, 1}, bad, none},
                          {{0, 1, 1, 1}, all, {1, 0, 0, 0}, bad, none},
                          {all, {1, 1, 1, 2}, none, bad, none},
                          {{2, 1, 1, 1}, all, none, bad, none}}) {
        Registry registry;
        remoting::FeatureAgreement features(c.mine, c.required, registry.stubs, vek::trace::Hex(1),
                                            registry.trace);
        EXPECT_EQ(features.SynchronizeWithPeerFeatures(c.peer), c.code);
        EXPECT_EQ(features.effective(), c.effective);
        EXPECT_EQ(features.synchronized(), c.code == result::kOk);
        EXPECT_EQ(registry.stubs.synchronized(), c.code == result::kOk);
        EXPECT_EQ(registry.stubs.eliminates_proxy_loops(), c.effective.proxyLoopElimination != 0);
    }
}

TEST(FeatureAgreement, IsMadeOnce) {
    Registry registry;
    remoting::FeatureAgreement features(remoting::kAllFeatures, {}, registry.stubs,
                                        vek::trace::Hex(1), registry.trace);
    const auto& trace = *registry.trace;
    EXPECT_EQ(features.SynchronizeWithPeerFeatures({1, 0, 1, 0}), result::kOk);
    EXPECT_EQ(trace.Count("Features = { proxyLoopElimination=1, transferFileHandles=0, "
                          "objectFlagInStubHandle=1, nullArgumentFlags=0 }"),
              1u);
    EXPECT_EQ(features.SynchronizeWithPeerFeatures({1, 0, 1, 0}), result::kOk);
    EXPECT_EQ(trace.Count("more than once in Connection("), 1u);
    EXPECT_EQ(trace.Count("Attempted modification"), 0u);
    features.End();
    EXPECT_EQ(features.SynchronizeWithPeerFeatures({1, 1, 1, 1}), result::kOk);
    EXPECT_EQ(trace.Count("500 VEK remoting: Attempted modification"), 1u);
    EXPECT_EQ(features.effective(), (ProtocolFeatures{1, 0, 1, 0}));

    // Nor at all with a peer that was lost.
    remoting::FeatureAgreement late(remoting::kAllFeatures, {}, registry.stubs, vek::trace::Hex(1),
                                    registry.trace);
    late.End();
    EXPECT_EQ(late.SynchronizeWithPeerFeatures(remoting::kAllFeatures), result::kRemoteCallFailed);
    EXPECT_FALSE(late.synchronized());
}

TEST(ServiceLocator, IsRefusedToAnIncompatiblePeerByEitherEnd) {
    RefPtr<vek::IServiceLocator> locator;
    {
        Pair pair(LocatorFactory(), nullptr, {2, 1, 1, 1});
        EXPECT_EQ(pair.client->GetServiceLocator(locator), result::kInvalidVersion);
        EXPECT_EQ(pair.server_closed, result::kInvalidVersion);
    }
    // The reply ends with the last feature and the handle: 8 bytes that end with the object's flag.
    struct Case {
        std::size_t from_end;
        int value;
        result_t code;
    };
    for (const Case& c :
         {Case{9, 9, result::kInvalidVersion}, Case{1, 0xC0, result::kInvalidHandle}}) {
        Pair pair(LocatorFactory(), nullptr);
        pair.client_wire->tamper_reply = [&](byte_vector& packet) {
            packet[packet.size() - c.from_end] = static_cast<std::byte>(c.value);
            return false;
        };
        EXPECT_EQ(pair.client->GetServiceLocator(locator), c.code);
        EXPECT_EQ(pair.client_closed, c.code);
        EXPECT_FALSE(locator);
    }
    Pair pair(LocatorFactory(), nullptr);
    byte_vector reply;
    EXPECT_EQ(pair.Raw({0, 0, 0, 0}, {}, reply), result::kInvalidVersion);
    EXPECT_EQ(pair.server_closed, result::kInvalidVersion);
}

TEST(ServiceLocator, IsGivenForAProperRequestAlone) {
    struct Case {
        std::string_view request;
        result_t code;
        int locks;
        result_t lock = result::kOk;
        result_t locator = result::kOk;
    };
    const auto good = "\4\0\0\0\1\1\1\1\xCA\x3F\xE3\x68"sv;
    for (const Case& c :
         {Case{good, result::kOk, 1}, Case{good.substr(0, 6), result::kBufferTooSmall, 0},
          Case{good.substr(0, 11), result::kBufferTooSmall, 0},
          Case{"\2\0\0\0\1\1\1\1\1\1"sv, result::kInvalidSize, 0},
          Case{"\4\0\0\0\1\1\1\1\xCB\x3F\xE3\x68"sv, result::kInterfaceNotSupported, 0},
          Case{good, result::kAccessDenied, 0, result::kAccessDenied},
          Case{good, result::kNotReady, 1, result::kOk, result::kNotReady},
          Case{good, result::kNotFound, 1, result::kOk, result::kFalse}}) {
        Pair pair(LocatorFactory(), nullptr);
        pair.master->lock_result = c.lock;
        pair.master->locator_result = c.locator;
        if (c.locator == result::kFalse) pair.master->locator.reset();
        const auto bytes = std::as_bytes(std::span(c.request));
        byte_vector reply;
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(pair.Raw({0, 0, 1, 0}, {bytes.begin(), bytes.end()}, reply), c.code);
        }
        EXPECT_EQ(pair.server_closed, result::kFalse);
        EXPECT_EQ(pair.master->locks, c.locks) << "once for both";
        pair.server->Close(result::kOk);
        EXPECT_EQ(pair.master->locks, 0);
    }
}

TEST(StubHandles, AreCheckedWhenTheyAreMade) {
    remoting::stub_handle_t handle = 1;
    Registry five(std::make_unique<FixedGenerator>(5));
    five.stubs.ApplyFeatures(remoting::kAllFeatures);
    EXPECT_EQ(five.Create(handle), result::kOk);
    EXPECT_EQ(handle, 5 | remoting::kObjectFlag);
    EXPECT_EQ(five.Create(handle), result::kInvalidHandle) << "there already";
    EXPECT_FALSE(five.stubs.MayReleaseProxy(5 | remoting::kStubFlag));
    EXPECT_TRUE(five.stubs.MayReleaseProxy(5));
    five.stubs.Close();
    EXPECT_EQ(five.Create(handle), result::kRemoteCallFailed);
    EXPECT_EQ(five.stubs.size(), 0u);

    Registry beyond(std::make_unique<FixedGenerator>(std::uint64_t{1} << 60));
    EXPECT_EQ(beyond.Create(handle), result::kUnexpected);
    EXPECT_EQ(beyond.trace->Count("out-of-range value 0x1000000000000000 to the StubRegistry(0x"),
              1u);
}

TEST(StubHandles, AreLimitedAndGivenBack) {
    constexpr auto kMax = remoting::StubRegistry::kMaxStubs;
    Registry registry;
    std::vector<remoting::stub_handle_t> handles(kMax + 1);
    for (std::size_t i = 0; i < kMax; ++i) ASSERT_EQ(registry.Create(handles[i]), result::kOk);
    EXPECT_EQ(registry.Create(handles[kMax]), result::kInsufficientResources);
    EXPECT_EQ(registry.stubs.size(), kMax);
    const auto all = std::as_bytes(std::span(handles));
    EXPECT_EQ(registry.stubs.ReleaseStubs(remoting::ReleasedList(all)), result::kInvalidSize);
    EXPECT_EQ(registry.stubs.size(), kMax);
    EXPECT_EQ(registry.stubs.ReleaseStubs(remoting::ReleasedList(all.first(8 * kMax))),
              result::kOk);
    EXPECT_EQ(registry.stubs.size(), 0u);
    EXPECT_EQ(registry.trace->lines().size(), 0u);
    EXPECT_EQ(registry.stubs.ReleaseStubs(remoting::ReleasedList(all.first(16))), result::kOk);
    EXPECT_EQ(registry.trace->Count("released handles that are no stub's: 2"), 1u);
}

TEST(CallFrames, BelongToTheirConnectionUntilTheyAreAnswered) {
    remoting::ReleaseQueue one(nullptr), other(nullptr);
    const std::vector<remoting::stub_handle_t> first{1, 2}, all{1, 2, 7};
    {
        remoting::CallFrame outer(one, 10);
        remoting::CallFrame inner(one, 11);
        {
            const remoting::CallFrame foreign(other, 12);
            EXPECT_EQ(remoting::CallFrame::Current(one), &inner);
            EXPECT_EQ(remoting::CallFrame::Current(other), &foreign);
        }
        EXPECT_EQ(remoting::CallFrame::Current(other), nullptr);
        inner.MarkAnswered();
        EXPECT_EQ(remoting::CallFrame::Current(one), &outer);
        one.Add(first);
        outer.AddFromQueue();
        EXPECT_TRUE(outer.Release(7));
        EXPECT_EQ(outer.released(), all);
        EXPECT_TRUE(one.TakeAll().empty());
    }
    EXPECT_EQ(one.TakeAll(), all) << "what no message took waits for the next";
    one.Close();
    one.Add(all);
    EXPECT_TRUE(one.TakeAll().empty());
}

// Handles that were let go with a request that never arrived go with the next.
TEST(CallSender, RepeatsReleasesThatNeverArrived) {
    struct Case {
        result_t refusal, code;
        std::size_t stubs;  // that are left
    };
    for (const Case& c : {Case{result::kInsufficientResources, result::kInsufficientResources, 0},
                          Case{result::kNotReady, result::kRemoteCallFailed, 0},
                          Case{result::kRemoteCallFailed, result::kRemoteCallFailed, 1}}) {
        Pair pair(LocatorFactory(), nullptr);
        RefPtr<vek::IServiceLocator> locator;
        ASSERT_EQ(pair.client->GetServiceLocator(locator), result::kOk);
        const auto before = pair.client->sender().change_count();
        locator.reset();
        EXPECT_GT(pair.client->sender().change_count(), before);
        byte_vector reply;
        pair.client_wire->refusal = c.refusal;
        EXPECT_EQ(pair.Raw({0, 0, 2, 0}, {}, reply), c.code);
        pair.client_wire->refusal = result::kOk;
        EXPECT_EQ(pair.server->registry().size(), 1u);
        EXPECT_EQ(pair.Raw({0, 0, 2, 0}, {}, reply), result::kMethodNotFound);
        EXPECT_EQ(pair.server->registry().size(), c.stubs);
        EXPECT_EQ(pair.client->sender().change_count(), before + 1 + 2 * 2);
    }
}

TEST(CallSender, SendsKernelHandlesWhereBothEndsCan) {
    for (const bool agreed : {true, false}) {
        for (const bool supported : {true, false}) {
            Pair pair(LocatorFactory(), nullptr, {1, agreed, 1, 1});
            RefPtr<vek::IServiceLocator> locator;
            ASSERT_EQ(pair.client->GetServiceLocator(locator), result::kOk);
            pair.client_wire->supports_files = supported;
            remoting::Rope rope;
            rope.AppendHandle(-3);
            remoting::Reply reply;
            EXPECT_EQ(pair.client->sender().SendReceive({0, 0, 2, 0}, rope, reply),
                      agreed && supported ? result::kMethodNotFound : result::kNotSupported);
            EXPECT_EQ(reply.delivered, agreed && supported);
            EXPECT_EQ(pair.client_wire->handles.size(), agreed && supported ? 1u : 0u);
        }
    }
}

TEST(ReplyPort, AnswersOnceWithWhatTheRopeHas) {
    Pair pair(LocatorFactory(), nullptr);
    remoting::CallFrame frame(pair.server->releases(), 1);
    const remote::RpcProtocolProcessorIn request;
    PacketKeeper sender;
    {
        remoting::ReplyPort reply(*pair.server, frame, request, sender);
        remoting::Rope rope;
        rope.AppendHandle(-3);
        EXPECT_EQ(reply.Send(rope), result::kOk);
    }
    EXPECT_EQ(sender.count, 1);
    remote::RpcProtocolProcessorIn answer;
    ASSERT_EQ(answer.ParsePacket(remote::bytes_t(sender.packet)), result::kOk);
    EXPECT_TRUE(answer.has_file_handles());
    { const remoting::ReplyPort silent(*pair.server, frame, request, sender); }
    ASSERT_EQ(answer.ParsePacket(remote::bytes_t(sender.packet)), result::kOk);
    vek::serialization::Reader reader(answer.GetCallData());
    EXPECT_EQ(remoting::ReadReplyHeader(reader).delivery, result::kUnexpected);
}

}  // namespace
}  // namespace tests
