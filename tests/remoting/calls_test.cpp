// Every kind of argument across a connection, and what becomes of the objects.

#include <limits>
#include <optional>

#include "tests/remoting/pair_fixture.h"
#include "vek/core/throw.h"
#include "vek/remoting/call_priority.h"

namespace tests {

struct Inner {
    static constexpr std::uint32_t kTypeId = 1;
    std::uint32_t number = 0;
    static constexpr auto kFields = std::make_tuple(&Inner::number);
    bool operator==(const Inner&) const = default;
};
struct Outer {
    static constexpr std::uint32_t kTypeId = 2;
    bool flag = false;
    std::string text;
    std::optional<Inner> maybe;
    std::vector<Inner> list;
    static constexpr auto kFields =
        std::make_tuple(&Outer::flag, &Outer::text, &Outer::maybe, &Outer::list);
    bool operator==(const Outer&) const = default;
};

struct IEcho : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x10000001;
    virtual result_t Numbers(std::uint8_t a, std::int64_t b, bool c,
                             std::uint64_t& sum) noexcept = 0;
    virtual result_t Texts(std::string_view a, std::u16string_view b, std::string& x,
                           std::u16string& y) noexcept = 0;
    virtual result_t Records(const Outer& in, Outer& out) noexcept = 0;
    virtual result_t Fill(std::span<std::byte> target, std::uint32_t& filled) noexcept = 0;
    virtual result_t Sum(std::span<const std::byte> data, std::uint64_t& sum) noexcept = 0;
    virtual result_t Reverse(vek::range_t<std::uint16_t>& range, std::uint32_t how) noexcept = 0;
    virtual result_t Exchange(IEcho* in, IEcho** out) noexcept = 0;
    virtual result_t CallBack(IEcho* other, std::uint32_t depth,
                              std::uint32_t& reached) noexcept = 0;
    virtual result_t Urgency(std::uint8_t& priority) noexcept = 0;
    virtual result_t Raise() = 0;
    virtual result_t Refuse(std::string& text, IEcho** out) noexcept = 0;

protected:
    ~IEcho() = default;
};
struct IOther : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x10000002;
    virtual result_t Answer(std::uint32_t& answer) noexcept = 0;

protected:
    ~IOther() = default;
};
struct ISecret : vek::IObject {  // has no factory
    static constexpr vek::interface_id_t kInterfaceId = 0x10000003;
};

}  // namespace tests

namespace vek::remoting {
VEK_REMOTE_INTERFACE(tests::IEcho, (Numbers, method_attribute::kReadsOnly),
                     (Texts, method_attribute::kNone), (Records, method_attribute::kNone),
                     (Fill, method_attribute::kNone), (Sum, method_attribute::kNone),
                     (Reverse, method_attribute::kNone), (Exchange, method_attribute::kNone),
                     (CallBack, method_attribute::kNone), (Urgency, method_attribute::kPriority),
                     (Raise, method_attribute::kNone), (Refuse, method_attribute::kNone))
VEK_REMOTE_INTERFACE(tests::IOther, (Answer, method_attribute::kNone))
}  // namespace vek::remoting

namespace tests {
namespace {

enum How : std::uint32_t { kInPlace, kShorter, kElsewhere, kLonger };

class Echo final : public vek::ObjectImpl<IEcho, IOther, ISecret> {
public:
    result_t Numbers(std::uint8_t a, std::int64_t b, bool c, std::uint64_t& sum) noexcept override {
        sum = static_cast<std::uint64_t>(b) + a + (c ? 1 : 0);
        return result::kFalse;
    }
    result_t Texts(std::string_view a, std::u16string_view b, std::string& x,
                   std::u16string& y) noexcept override {
        x = a;
        y = b;
        return result::kOk;
    }
    result_t Records(const Outer& in, Outer& out) noexcept override {
        out = in;
        return result::kOk;
    }
    result_t Fill(std::span<std::byte> target, std::uint32_t& filled) noexcept override {
        filled = static_cast<std::uint32_t>(target.size() / 2);
        for (std::uint32_t i = 0; i < filled; ++i) target[i] = static_cast<std::byte>(i);
        return result::kOk;
    }
    result_t Sum(std::span<const std::byte> data, std::uint64_t& sum) noexcept override {
        sum = 0;
        for (const std::byte b : data) sum += std::to_integer<std::uint64_t>(b);
        return result::kOk;
    }
    result_t Reverse(vek::range_t<std::uint16_t>& range, std::uint32_t how) noexcept override {
        static std::uint16_t elsewhere[4];
        std::reverse(range.data, range.data + range.size);
        if (how == kShorter) --range.size;
        if (how == kElsewhere) range.data = elsewhere;
        if (how == kLonger) ++range.size;
        return result::kOk;
    }
    result_t Exchange(IEcho* in, IEcho** out) noexcept override {
        if (out == nullptr) return result::kInvalidArgument;
        kept = RefPtr<IEcho>::Share(in);
        *out = give.detach();
        return result::kOk;
    }
    result_t CallBack(IEcho* other, std::uint32_t depth, std::uint32_t& reached) noexcept override {
        reached = depth;
        return depth == 0 ? result::kOk : other->CallBack(this, depth - 1, reached);
    }
    result_t Urgency(std::uint8_t& priority) noexcept override {
        priority = static_cast<std::uint8_t>(remoting::CurrentCallPriority());
        return result::kOk;
    }
    result_t Raise() override { vek::ThrowResult(result::kAccessDenied); }
    result_t Refuse(std::string& text, IEcho** out) noexcept override {
        text = "changed";
        AddRef();
        *out = this;
        return result::kNotFound;
    }
    result_t Answer(std::uint32_t& answer) noexcept override {
        answer = 42;
        return result::kOk;
    }

    RefPtr<IEcho> kept;
    RefPtr<IEcho> give;
};

std::shared_ptr<const remoting::ProxyStubFactories> Factories() {
    static remoting::ProxyStubFactory legacy = *remoting::FactoryOf<IOther>();
    legacy.interface_id = 0x10000009;
    legacy.version = 3;
    return std::make_shared<const remoting::ProxyStubFactories>(
        std::vector<const remoting::ProxyStubFactory*>{remoting::FactoryOf<vek::IServiceLocator>(),
                                                       remoting::FactoryOf<IEcho>(),
                                                       remoting::FactoryOf<IOther>(), &legacy});
}

struct Calls : testing::Test {
    ~Calls() override { EXPECT_EQ(vek::LiveObjectCount(), objects_before); }
    const std::uint32_t objects_before = vek::LiveObjectCount();
};

TEST_F(Calls, ArgumentsArriveAsTheyWereSent) {
    for (const auto flags : {std::uint8_t{0}, std::uint8_t{1}}) {
        SCOPED_TRACE(int{flags});
        Pair pair(Factories(), RefPtr<IEcho>(vek::MakeObject<Echo>()), {1, 1, 1, flags});
        const auto echo = pair.Service<IEcho>();
        ASSERT_TRUE(echo);

        std::uint64_t sum = 0;
        EXPECT_EQ(echo->Numbers(200, std::numeric_limits<std::int64_t>::min(), true, sum),
                  result::kFalse);
        EXPECT_EQ(sum, 0x8000000000000000u + 201);

        const std::string long_text(5000, 'x');  // viewed, not copied
        const std::u16string wide(u"a\0\xD800z", 4);
        std::string x;
        std::u16string y;
        EXPECT_EQ(echo->Texts(long_text, wide, x, y), result::kOk);
        EXPECT_EQ(x, long_text);
        EXPECT_EQ(y, wide);

        const Outer sent{true, "text", Inner{7}, {{1}, {2}, {3}}};
        Outer got;
        EXPECT_EQ(echo->Records(sent, got), result::kOk);
        EXPECT_EQ(got, sent);
        EXPECT_EQ(echo->Records(Outer{}, got), result::kOk);
        EXPECT_EQ(got, Outer{});

        byte_vector storage(10, std::byte{0xEE});
        std::uint32_t filled = 0;
        EXPECT_EQ(echo->Fill(storage, filled), result::kOk);
        EXPECT_EQ(filled, 5u);
        EXPECT_EQ(storage[4], std::byte{4});
        EXPECT_EQ(storage[5], std::byte{0xEE}) << "only what was filled is written";
        EXPECT_EQ(echo->Sum(byte_vector(300000, std::byte{2}), sum), result::kOk);
        EXPECT_EQ(sum, 600000u);

        std::uint8_t priority = 0;
        const remoting::CallPriorityScope urgent(remoting::CallPriority::kHigh);
        EXPECT_EQ(echo->Urgency(priority), result::kOk);
        EXPECT_EQ(priority, static_cast<std::uint8_t>(remoting::CallPriority::kHigh));
        EXPECT_EQ(pair.client_trace->Count("SyncMethodProxy5: priority will be set for call"), 1u);
        EXPECT_EQ(pair.server_trace->Count("priority flag detected in method."), 1u);
    }
}

TEST_F(Calls, InOutRangesMayChangeInPlaceAlone) {
    struct Case {
        How how;
        result_t code;
        std::size_t size;
        const char* text;
    };
    Pair pair(Factories(), RefPtr<IEcho>(vek::MakeObject<Echo>()));
    const auto echo = pair.Service<IEcho>();
    for (const Case& c :
         {Case{kInPlace, result::kOk, 3, nullptr}, Case{kShorter, result::kOk, 2, nullptr},
          Case{kElsewhere, result::kInvalidArgument, 3, "point to another storage."},
          Case{kLonger, result::kInvalidArgument, 3, "beyond its original size."}}) {
        std::uint16_t storage[] = {1, 2, 3};
        vek::range_t<std::uint16_t> range{storage, 3};
        EXPECT_EQ(echo->Reverse(range, c.how), c.code);
        EXPECT_EQ(range.data, storage);
        EXPECT_EQ(range.size, c.size);
        EXPECT_EQ(storage[0], c.text == nullptr ? 3 : 1);
        if (c.text != nullptr) {
            EXPECT_EQ(pair.server_trace->Count(c.text), 1u);
        }
    }
}

TEST_F(Calls, FailuresLeaveTheOutputsAlone) {
    Pair pair(Factories(), RefPtr<IEcho>(vek::MakeObject<Echo>()));
    const auto echo = pair.Service<IEcho>();
    std::string text = "mine";
    RefPtr<IEcho> out;
    EXPECT_EQ(echo->Refuse(text, out.put()), result::kNotFound);
    EXPECT_EQ(text, "mine");
    EXPECT_FALSE(out);
    EXPECT_EQ(echo->Exchange(nullptr, nullptr), result::kInvalidArgument);
    EXPECT_EQ(echo->Raise(), result::kAccessDenied);
    EXPECT_EQ(pair.server_trace->Count("Invoked method has thrown an exception"), 1u);
    std::uint32_t filled = 7;
    byte_vector storage(remoting::kMaxOutBytes + 1);
    EXPECT_EQ(echo->Fill(storage, filled), result::kInvalidSize);
    EXPECT_EQ(filled, 7u);
}

TEST_F(Calls, ObjectsTravelBothWaysAndComeHomeAsThemselves) {
    for (const auto loops : {std::uint8_t{0}, std::uint8_t{1}}) {
        SCOPED_TRACE(int{loops});
        const auto real = vek::MakeObject<Echo>();
        Pair pair(Factories(), RefPtr<IEcho>(real), {loops, 1, 1, 1});
        auto echo = pair.Service<IEcho>();
        const auto mine = vek::MakeObject<Echo>();

        std::uint32_t reached = 99;
        EXPECT_EQ(echo->CallBack(mine.get(), 6, reached), result::kOk);
        EXPECT_EQ(reached, 0u);

        real->give = vek::MakeObject<Echo>();
        RefPtr<IEcho> out;
        EXPECT_EQ(echo->Exchange(mine.get(), out.put()), result::kOk);
        ASSERT_TRUE(out);
        RefPtr<IEcho> none;
        RefPtr<IEcho> theirs = real->kept;  // a proxy of `mine`
        ASSERT_TRUE(theirs);
        EXPECT_EQ(theirs->Exchange(real.get(), none.put()), result::kOk);
        EXPECT_FALSE(none);
        EXPECT_EQ(mine->kept.get() == echo.get(), false);

        // A proxy that goes home is the object itself, or a proxy of a proxy.
        EXPECT_EQ(echo->Exchange(echo.get(), none.put()), result::kOk);
        EXPECT_EQ(real->kept.get() == static_cast<IEcho*>(real.get()), loops == 1);
        real->kept.reset();
        mine->kept.reset();
        theirs.reset();

        // So is one that goes home as a result, though nobody else holds it.
        real->give = RefPtr<IEcho>(mine);
        RefPtr<IEcho> home;
        EXPECT_EQ(echo->Exchange(mine.get(), none.put()), result::kOk);
        real->give = std::move(real->kept);
        none.reset();
        EXPECT_EQ(echo->Exchange(nullptr, home.put()), result::kOk);
        EXPECT_EQ(home.get() == static_cast<IEcho*>(mine.get()), loops == 1);
        home.reset();

        RefPtr<IOther> other;
        ASSERT_EQ(echo->QueryInterface(IOther::kInterfaceId, other.put_void()), result::kOk);
        std::uint32_t answer = 0;
        EXPECT_EQ(other->Answer(answer), result::kOk);
        EXPECT_EQ(answer, 42u);

        out.reset();
        other.reset();
        // Being let go costs no call; it is said with the next.
        std::uint64_t sum = 0;
        EXPECT_EQ(echo->Numbers(1, 1, false, sum), result::kFalse);
        EXPECT_EQ(pair.server->registry().size(), 1u) << "every stub but the echo's is given back";
        EXPECT_EQ(pair.client->registry().size(), 0u);
    }
}

TEST_F(Calls, InterfacesThatStayAtHome) {
    Pair pair(Factories(), RefPtr<IEcho>(vek::MakeObject<Echo>()));
    const auto echo = pair.Service<IEcho>();
    void* out = nullptr;
    const auto sent = pair.client->requests_sent();
    for (const vek::interface_id_t id : remoting::kLocalInterfaces) {
        EXPECT_EQ(echo->QueryInterface(id, &out), result::kNotSupported);
    }
    EXPECT_EQ(pair.client->requests_sent(), sent);

    EXPECT_EQ(echo->QueryInterface(ISecret::kInterfaceId, &out), result::kNotSupported);
    EXPECT_EQ(pair.server_trace->Count("Cannot create stub handle for the requested interface"),
              1u);
    EXPECT_EQ(echo->QueryInterface(0x12345678, &out), result::kInterfaceNotSupported);
    EXPECT_EQ(pair.client_trace->Count("QueryInterface failed on remote side"), 2u);

    remoting::stub_handle_t handle;
    EXPECT_EQ(pair.server->registry().CreateStub(0x10000009, echo.get(), handle),
              result::kNotSupported);
    EXPECT_EQ(pair.server_trace->Count("does not support modern interface (v4)."), 1u);
}

// Both ends know the layout; a peer that does not is refused, whatever it sends.
TEST_F(Calls, MalformedCallsAreRefused) {
    const auto real = vek::MakeObject<Echo>();
    Pair pair(Factories(), RefPtr<IEcho>(real));
    const auto echo = pair.Service<IEcho>();
    remoting::StubAddress address;
    RefPtr<remoting::IProxy> proxy;
    ASSERT_EQ(echo->QueryInterface(remoting::IProxy::kInterfaceId, proxy.put_void()), result::kOk);
    ASSERT_EQ(proxy->Resolve(address), result::kOk);
    const auto handle = address.handle | remoting::kStubFlag;

    struct Case {
        const char* name;
        remoting::CallTarget target;
        std::size_t size;
        result_t code;
        const char* trace;
    };
    const std::uint32_t iid = IEcho::kInterfaceId;
    const Case cases[] = {
        {"query too short",
         {handle, iid, 1000, 2},
         3,
         result::kInvalidSize,
         "InvokeSpecialMethod4: invalid size of request data = 3"},
        {"unknown special method",
         {handle, iid, 1001, 0},
         0,
         result::kMethodNotFound,
         "InvokeSpecialMethod4: Unknown method id. methodId = 1001, interface = 0x10000001"},
        {"query without a target", {handle + 77, iid, 1000, 0}, 4, result::kInvalidArgument, ""},
        {"no such object", {handle + 77, iid, 3, 0}, 0, result::kInvalidArgument, "no object"},
        {"the proxy's handle",
         {handle & ~remoting::kStubFlag, iid, 3, 2},
         11,
         result::kInvalidArgument,
         "no object"},
        {"another interface",
         {handle, IOther::kInterfaceId, 3, 0},
         1,
         result::kInvalidArgument,
         "no object"},
        {"method beyond the last",
         {handle, iid, 14, 0},
         0,
         result::kMethodNotFound,
         "Unknown method id"},
        {"a base method", {handle, iid, 0, 0}, 0, result::kMethodNotFound, "Unknown method id"},
        {"other attributes",
         {handle, iid, 3, 1},
         12,
         result::kInvalidArgument,
         "attributes of Numbers"},
        {"no flags",
         {handle, iid, 3, 2},
         0,
         result::kInvalidArgument,
         "Failed to read the array of null argument flags, errCode = 0x80000046"},
        {"short",
         {handle, iid, 3, 2},
         5,
         result::kBufferTooSmall,
         "Failed to deserialize input arguments, errCode = 0x80000044"},
        {"long",
         {handle, iid, 3, 2},
         15,
         result::kInvalidSize,
         "Deserialization of input arguments consumed11 bytes, while data size is 15 bytes"},
        {"no priority",
         {handle, iid, 11, 1},
         0,
         result::kBufferTooSmall,
         "cannot deserialize priority"},
        {"unknown service call",
         {0, 0, 2, 0},
         0,
         result::kMethodNotFound,
         "Unknown service call id = 2"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        byte_vector reply;
        EXPECT_EQ(pair.Raw(c.target, byte_vector(c.size), reply), c.code);
        EXPECT_TRUE(reply.empty());
        EXPECT_GE(pair.server_trace->Count(c.trace), 1u);
    }
    std::uint64_t sum = 0;
    EXPECT_EQ(echo->Numbers(1, 1, false, sum), result::kFalse) << "the next call works";
}

// The peer's replies are no more to be trusted than its requests.
TEST_F(Calls, MalformedRepliesFailTheCall) {
    Pair pair(Factories(), RefPtr<IEcho>(vek::MakeObject<Echo>()));
    const auto echo = pair.Service<IEcho>();
    struct Case {
        const char* trace;
        result_t code;
        std::function<void(byte_vector&)> spoil;
    };
    const auto cut = [](std::size_t count) {
        return [count](byte_vector& packet) { packet.resize(packet.size() - count); };
    };
    // The reply to Numbers ends with 4 byte_vector of result, 8 of the sum and 1 of flags.
    const Case cases[] = {
        {"Illegal reply size = 0", result::kInvalidSize, cut(13)},
        {"cannot unwrap reply", result::kBufferTooSmall, cut(14)},
        {"SyncMethodProxy5: Cannot append a collection of null flags to the serialized arguments",
         result::kInvalidArgument, [](byte_vector& p) { p.back() = std::byte{1}; }},
        {"consumed13 bytes, while reply size is 14 bytes. methodId = 3", result::kInvalidSize,
         [](byte_vector& p) { p.push_back(std::byte{0}); }},
        {"Failed to deserialize output arguments, errCode = 0x80000044", result::kBufferTooSmall,
         [](byte_vector& p) { p.erase(p.end() - 3); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.trace);
        pair.client_wire->tamper_reply = [&](byte_vector& packet) {
            // The call data is the last block: its size follows it.
            const std::size_t before = packet.size();
            c.spoil(packet);
            auto& low = packet[4 + 12 + 2];
            low =
                static_cast<std::byte>(std::to_integer<std::size_t>(low) + packet.size() - before);
            return false;
        };
        std::uint64_t sum = 5;
        EXPECT_EQ(echo->Numbers(1, 1, false, sum), c.code);
        EXPECT_EQ(sum, 5u);
        EXPECT_EQ(pair.client_trace->Count(c.trace), 1u);
    }
    pair.client_wire->tamper_reply = nullptr;
}

// The peer is lost at every message of a conversation in turn: both ends let everything go.
TEST_F(Calls, ALostPeerFailsTheCallAndReleasesEverything) {
    for (int lost_at = 0; lost_at < 12; ++lost_at) {
        SCOPED_TRACE(lost_at);
        const auto real = vek::MakeObject<Echo>();
        Pair pair(Factories(), RefPtr<IEcho>(real));
        auto echo = pair.Service<IEcho>();
        int passed = 0;
        const auto lose = [&](byte_vector&) {
            if (passed++ != lost_at) return false;
            pair.client_wire->Close(result::kRemoteCallFailed);
            return true;
        };
        pair.client_wire->tamper_request = pair.client_wire->tamper_reply = lose;
        pair.server_wire->tamper_request = pair.server_wire->tamper_reply = lose;
        const auto mine = vek::MakeObject<Echo>();
        real->give = vek::MakeObject<Echo>();
        RefPtr<IEcho> out;
        std::uint32_t reached = 0;
        result_t code = echo->Exchange(mine.get(), out.put());
        if (vek::Succeeded(code)) code = echo->CallBack(mine.get(), 3, reached);
        EXPECT_EQ(code, lost_at < 10 ? result::kRemoteCallFailed : result::kOk);
        if (lost_at < 10) {
            EXPECT_EQ(echo->Raise(), result::kRemoteCallFailed);
            EXPECT_EQ(pair.server->registry().size(), 0u);
            EXPECT_EQ(pair.client->registry().size(), 0u);
            EXPECT_EQ(pair.master->locks, 0);
            EXPECT_EQ(pair.client_closed, result::kRemoteCallFailed);
        }
        real->kept.reset();
    }
}

}  // namespace
}  // namespace tests
