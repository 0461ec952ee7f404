// The parts of a connection: what two ends agree before the first call, the handles they name
// objects by, and how those are given back.

#include <cstdlib>

#include "tests/remoting/pair_fixture.h"
#include "vek/remoting/call_frame.h"

// Of this thread, up to one that fails; none does when it is 0.
static thread_local int allocations_left = 0;

#ifndef MLXO_SANITIZED  // sanitizers have their own
void* operator new(std::size_t size) {
    void* const made = allocations_left > 0 && --allocations_left == 0 ? nullptr : malloc(size);
    return made != nullptr ? made : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* made) noexcept { free(made); }
void operator delete(void* made, std::size_t) noexcept { operator delete(made); }
#endif

namespace tests {
namespace {

using namespace std::literals;
using remoting::ProtocolFeatures;

struct Registry : remoting::StubRegistry {
    Registry()
        : StubRegistry(plugins::remoting::RemoteInterfaces(),
                       std::make_unique<remoting::CountingGenerator>(), nullptr) {}
    result_t Create(remoting::stub_handle_t& handle) {
        return CreateStub(vek::IServiceLocator::kInterfaceId, object.get(), handle);
    }
    const RefPtr<OneServiceLocator> object = vek::MakeObject<OneServiceLocator>(nullptr);
};

TEST(FeatureAgreement, IsWhatBothEndsCanAndNeedForGood) {
    const ProtocolFeatures all = remoting::kAllFeatures, none{};
    const struct {
        ProtocolFeatures mine, peer, required, effective;
    } cases[] = {{all, {1, 0, 1, 0}, none, {1, 0, 1, 0}},
                 {{0, 1, 1, 0}, {1, 1, 0, 0}, {0, 1, 0, 0}, {0, 1, 0, 0}},
                 {all, {1, 0, 1, 0}, {0, 0, 0, 1}, none},
                 {{0, 1, 1, 1}, all, {1, 0, 0, 0}, none},
                 {all, {1, 1, 1, 2}, none, none},
                 {{2, 1, 1, 1}, all, none, none}};
    for (const auto& c : cases) {
        Registry stubs;
        const auto trace = std::make_shared<RecordingTracer>();
        remoting::FeatureAgreement features(c.mine, c.required, stubs, vek::trace::Hex(1), trace);
        const bool agreed = c.effective != none;
        for (const ProtocolFeatures& peer : {c.peer, agreed ? all : c.peer}) {
            EXPECT_EQ(features.SynchronizeWithPeerFeatures(peer),
                      agreed ? result::kOk : result::kInvalidVersion);
            EXPECT_EQ(features.effective(), c.effective);
            EXPECT_TRUE(features.synchronized() == agreed && stubs.synchronized() == agreed);
            EXPECT_EQ(stubs.eliminates_proxy_loops(), c.effective.proxyLoopElimination != 0);
            EXPECT_EQ(trace->Count("New features ignored"), agreed && peer == all && c.peer != all);
        }
    }
}

TEST(ServiceLocator, IsRefusedToAnIncompatiblePeerByEitherEnd) {
    RefPtr<vek::IServiceLocator> locator;
    Pair odd(nullptr, {2, 1, 1, 1}), old(nullptr);
    EXPECT_EQ(odd.client->GetServiceLocator(locator), result::kInvalidVersion);
    EXPECT_EQ(odd.server_closed, result::kInvalidVersion);
    EXPECT_EQ(old.Raw({0, 0, 0, 0}), result::kInvalidVersion);
    EXPECT_EQ(old.server_closed, result::kInvalidVersion);
    // The reply ends with the last feature and the handle: 8 bytes that end with the object's flag.
    for (const bool features : {true, false}) {
        Pair pair(nullptr);
        pair.client_wire->tamper_reply = [&](byte_vector& packet) {
            packet[packet.size() - (features ? 9 : 1)] = std::byte{0xC0};
            return false;
        };
        const auto code = features ? result::kInvalidVersion : result::kInvalidHandle;
        EXPECT_EQ(pair.client->GetServiceLocator(locator), code);
        EXPECT_EQ(pair.client_closed, code);
        EXPECT_FALSE(locator);
    }
    // Not so a connection that ends meanwhile, on either end.
    for (const bool here : {true, false}) {
        Pair pair(nullptr);
        auto& wire = *pair.client_wire;
        (here ? wire.tamper_reply : wire.tamper_request) = [&](byte_vector&) {
            (here ? pair.client : pair.server)->Close(result::kRemoteCallFailed);
            return false;
        };
        EXPECT_EQ(pair.client->GetServiceLocator(locator), result::kRemoteCallFailed);
        EXPECT_EQ(pair.trace->Count("incompatible"), 0u);
    }
}

TEST(ServiceLocator, IsGivenForAProperRequestAlone) {
    const auto good = "\4\0\0\0\1\1\1\1\xCA\x3F\xE3\x68"sv;
    const struct {
        std::string_view request;
        result_t code;
        int locks;
        result_t lock = result::kOk, locator = result::kOk;
    } cases[] = {{good, result::kOk, 1},
                 {good.substr(0, 6), result::kBufferTooSmall, 0},
                 {good.substr(0, 11), result::kBufferTooSmall, 0},
                 {"\2\0\0\0\1\1\1\1\1\1"sv, result::kInvalidSize, 0},
                 {"\4\0\0\0\1\1\1\1\xCB\x3F\xE3\x68"sv, result::kInterfaceNotSupported, 0},
                 {good, result::kAccessDenied, 0, result::kAccessDenied},
                 {good, result::kNotReady, 1, result::kOk, result::kNotReady},
                 {good, result::kNotFound, 1, result::kOk, result::kFalse}};
    for (const auto& c : cases) {
        Pair pair(nullptr);
        pair.master->lock_result = c.lock;
        pair.master->locator_result = c.locator;
        if (c.locator == result::kFalse) pair.master->locator.reset();
        const auto bytes = std::as_bytes(std::span(c.request));
        for (int again = 0; again < 2; ++again) {
            EXPECT_EQ(pair.Raw({0, 0, 1, 0}, {bytes.begin(), bytes.end()}), c.code);
        }
        EXPECT_EQ(pair.trace->Count("CreateStub failed for IServiceLocator in SendReceiveStub("),
                  c.lock != c.locator ? 2u : 0u);
        EXPECT_EQ(pair.server_closed, result::kFalse);
        EXPECT_EQ(pair.master->locks, c.locks) << "once for both";
        pair.server->Close(result::kOk);
        EXPECT_EQ(pair.master->locks, 0);
    }
}

TEST(StubHandles, AreLimitedAndGivenBack) {
    constexpr auto kMax = remoting::StubRegistry::kMaxStubs;
    Registry stubs;
    std::vector<remoting::stub_handle_t> handles(kMax + 1);
    for (std::size_t i = 0; i < kMax; ++i) ASSERT_EQ(stubs.Create(handles[i]), result::kOk);
    EXPECT_EQ(stubs.Create(handles[kMax]), result::kInsufficientResources);
    const auto all = std::as_bytes(std::span(handles));
    EXPECT_EQ(stubs.ReleaseStubs(remoting::ReleasedList(all)), result::kInvalidSize);
    EXPECT_EQ(stubs.size(), kMax);
    for (int again = 0; again < 2; ++again) {  // as a peer may
        EXPECT_EQ(stubs.ReleaseStubs(remoting::ReleasedList(all.first(8 * kMax))), result::kOk);
        EXPECT_EQ(stubs.size(), 0u);
    }
    EXPECT_FALSE(stubs.MayReleaseProxy(handles[0] | remoting::kStubFlag));
    EXPECT_TRUE(stubs.MayReleaseProxy(handles[0]));

    ASSERT_EQ(stubs.Create(handles[0]), result::kOk);
    stubs.Close();
    EXPECT_EQ(stubs.Create(handles[0]), result::kRemoteCallFailed);
    EXPECT_EQ(stubs.size(), 0u);
}

TEST(CallFrames, BelongToTheirConnectionUntilTheyAreAnswered) {
    remoting::ReleaseQueue one(nullptr), other(nullptr);
    const std::vector<remoting::stub_handle_t> all{1, 2};
    {
        remoting::CallFrame outer(one, 10), inner(one, 11);
        const remoting::CallFrame foreign(other, 12);
        EXPECT_EQ(remoting::CallFrame::Current(one), &inner);
        EXPECT_EQ(remoting::CallFrame::Current(other), &foreign);
        inner.MarkAnswered();
        EXPECT_EQ(remoting::CallFrame::Current(one), &outer);
        one.Add({all.data(), 1});
        outer.AddFromQueue();
        EXPECT_TRUE(outer.Release(2));
        EXPECT_TRUE(one.TakeAll().empty());
    }
    EXPECT_EQ(one.TakeAll(), all) << "what no message took waits for the next";
    one.Close();
    one.Add(all);
    EXPECT_TRUE(one.TakeAll().empty());
}

// Handles that were let go with a request that never arrived go with the next: one that the
// transport refused, or that there was no memory for, whatever lacked it.
TEST(CallSender, RepeatsReleasesThatNeverArrived) {
    constexpr result_t kRefusals[] = {result::kNotReady, result::kRemoteCallFailed,
                                      result::kInsufficientResources};
    bool lacked = true;
    for (int way = 0; way < 4 || lacked; ++way) {
        Pair pair(nullptr);
        RefPtr<vek::IServiceLocator> one, other;
        ASSERT_EQ(pair.client->GetServiceLocator(one), result::kOk);
        ASSERT_EQ(pair.client->GetServiceLocator(other), result::kOk);
        one.reset();
        const remoting::CallFrame frame(pair.client->releases(), 1);
        other.reset();
        const result_t refusal = pair.client_wire->refusal = kRefusals[std::min(way, 2)];
        allocations_left = std::max(way - 2, 0);
        const result_t code = pair.Raw({0, 0, 2, 0});
        allocations_left = 0;
        lacked = code == result::kOutOfMemory;
        EXPECT_TRUE(lacked || code == (way < 2 ? result::kRemoteCallFailed : refusal)) << code;
        pair.client_wire->refusal = result::kOk;
        EXPECT_EQ(pair.server->registry().size(), 2u);
        EXPECT_EQ(pair.Raw({0, 0, 2, 0}), result::kMethodNotFound);
        // What may have arrived is not said again.
        EXPECT_EQ(pair.server->registry().size(), refusal == result::kRemoteCallFailed ? 2u : 0u)
            << way;
    }
}

TEST(CallSender, SendsKernelHandlesWhereBothEndsCan) {
    for (const bool agreed : {true, false}) {
        for (const bool supported : {true, false}) {
            Pair pair(nullptr, {1, agreed, 1, 1});
            RefPtr<vek::IServiceLocator> locator;
            ASSERT_EQ(pair.client->GetServiceLocator(locator), result::kOk);
            pair.client_wire->supports_files = supported;
            remoting::Rope rope;
            rope.AppendHandle(-3);
            remoting::Reply reply;
            EXPECT_EQ(pair.client->sender().SendReceive({0, 0, 2, 0}, rope, reply),
                      agreed && supported ? result::kMethodNotFound : result::kNotSupported);
            EXPECT_EQ(pair.client_wire->handles_sent, agreed && supported ? 1u : 0u);
        }
    }
}

}  // namespace
}  // namespace tests
