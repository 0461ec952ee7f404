// Every kind of argument across a connection, and what becomes of the objects.

#include <algorithm>
#include <limits>
#include <thread>

#include "private_include/common/product_settings.h"
#include "tests/remoting/pair_fixture.h"
#include "vek/core/throw.h"
#include "vek/remoting/call_priority.h"

namespace tests {

using Record = plugins::product::MailPluginSettings;

struct IEcho : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x10000001;
    virtual result_t Add(std::uint8_t a, bool b, std::int64_t& sum) noexcept = 0;
    virtual result_t Copy(std::string_view a, std::u16string_view b, const Record& c,
                          std::string& x, std::u16string& y, Record& z) noexcept = 0;
    virtual result_t Fill(std::span<std::byte> target, std::uint32_t& filled) noexcept = 0;
    virtual result_t Reverse(vek::range_t<std::uint16_t>& range, bool elsewhere) noexcept = 0;
    virtual result_t Exchange(IEcho* in, IEcho** out) noexcept = 0;
    virtual result_t CallBack(IEcho* other, std::uint32_t depth, std::uint32_t& end) noexcept = 0;
    virtual result_t Refuse(bool raise, std::string& text, IEcho** out) = 0;

protected:
    ~IEcho() = default;
};
struct ISecret : vek::IObject {  // has no factory
    static constexpr vek::interface_id_t kInterfaceId = 0x10000003;
};

}  // namespace tests

namespace vek::remoting {
VEK_REMOTE_INTERFACE(tests::IEcho, (Add, method_attribute::kPriority),
                     (Copy, method_attribute::kNone), (Fill, method_attribute::kNone),
                     (Reverse, method_attribute::kNone), (Exchange, method_attribute::kNone),
                     (CallBack, method_attribute::kNone), (Refuse, method_attribute::kNone))
}  // namespace vek::remoting

namespace tests {
namespace {

class Echo final
    : public vek::ObjectImpl<IEcho, vek::IServiceLocator, ISecret, remoting::ICustomMarshal> {
public:
    result_t Add(std::uint8_t a, bool b, std::int64_t& sum) noexcept override {
        sum = a + (b ? 1 : 0) + 1000 * static_cast<int>(remoting::CurrentCallPriority());
        return result::kFalse;
    }
    result_t Copy(std::string_view a, std::u16string_view b, const Record& c, std::string& x,
                  std::u16string& y, Record& z) noexcept override {
        x = a;
        y = b;
        z = c;
        return result::kOk;
    }
    result_t Fill(std::span<std::byte> target, std::uint32_t& filled) noexcept override {
        filled = static_cast<std::uint32_t>(target.size() / 2);
        std::fill_n(target.begin(), fill_result == result::kFalse ? filled / 2 : filled,
                    std::byte{4});
        return fill_result;
    }
    result_t Reverse(vek::range_t<std::uint16_t>& range, bool elsewhere) noexcept override {
        std::reverse(range.data, range.data + range.size);
        --range.size;
        if (elsewhere) ++range.data;
        return result::kOk;
    }
    result_t Exchange(IEcho* in, IEcho** out) noexcept override {
        kept = RefPtr<IEcho>::Share(in);
        *out = give.detach();
        return result::kOk;
    }
    result_t CallBack(IEcho* other, std::uint32_t depth, std::uint32_t& end) noexcept override {
        end = depth;
        return depth == 0 ? result::kOk : other->CallBack(this, depth - 1, end);
    }
    result_t Refuse(bool raise, std::string& text, IEcho** out) override {
        if (raise) vek::ThrowResult(result::kAccessDenied);
        text = "changed";
        AddRef();
        *out = this;
        return result::kNotFound;
    }
    result_t GetInterface(vek::interface_id_t, const void*, void**) noexcept override {
        return result::kNotReady;
    }

    RefPtr<IEcho> kept;
    RefPtr<IEcho> give;
    result_t fill_result = result::kOk;  // kFalse: and half of what is claimed is filled
};

std::shared_ptr<const remoting::ProxyStubFactories> Factories() {
    return std::make_shared<const remoting::ProxyStubFactories>(
        std::vector{remoting::FactoryOf<vek::IServiceLocator>(), remoting::FactoryOf<IEcho>()});
}

struct EchoPair : Pair {
    explicit EchoPair(remoting::ProtocolFeatures features = remoting::kOwnFeatures,
                      RefPtr<Echo> object = vek::MakeObject<Echo>())
        : Pair(RefPtr<IEcho>(object), features, Factories()),
          real(std::move(object)),
          echo(Service<IEcho>()) {}
    const RefPtr<Echo> real;
    const RefPtr<IEcho> echo;
};

struct Calls : testing::Test {
    ~Calls() override { EXPECT_EQ(vek::LiveObjectCount(), objects_before); }
    const std::uint32_t objects_before = vek::LiveObjectCount();
};

TEST_F(Calls, ArgumentsArriveAsTheyWereSent) {
    for (const auto flags : {std::uint8_t{0}, std::uint8_t{1}}) {
        EchoPair pair({1, 1, 1, flags});
        const std::string long_text(5000, 'x');  // viewed, not copied
        const std::u16string wide(u"a\0\xD800z", 4);
        for (const Record& sent : {Record{true, false, {{7, 8, 9}}, {1, 2, 3}}, Record{}}) {
            std::string x;
            std::u16string y;
            Record z;
            EXPECT_EQ(pair.echo->Copy(long_text, wide, sent, x, y, z), result::kOk);
            EXPECT_EQ(std::tie(x, y, z), std::tie(long_text, wide, sent));
        }
        std::int64_t sum = 0;
        EXPECT_EQ(pair.echo->Add(200, true, sum), result::kFalse);
        EXPECT_EQ(sum, 1000 * static_cast<int>(remoting::CallPriority::kNormal) + 201);

        std::uint16_t numbers[] = {1, 2, 3};
        vek::range_t<std::uint16_t> range{numbers, 3};
        EXPECT_EQ(pair.echo->Reverse(range, true), result::kInvalidArgument);
        EXPECT_TRUE(range.size == 3 && numbers[0] == 1);
        EXPECT_EQ(pair.echo->Reverse(range, false), result::kOk);
        EXPECT_TRUE(range.data == numbers && range.size == 2 && numbers[0] == 3);

        const remoting::CallPriorityScope urgent(remoting::CallPriority::kHigh);
        EXPECT_EQ(pair.echo->Add(200, false, sum), result::kFalse);
        EXPECT_EQ(sum, 1000 * static_cast<int>(remoting::CallPriority::kHigh) + 200);
    }
    EXPECT_EQ(remoting::CurrentCallPriority(), remoting::CallPriority::kNormal);
}

TEST_F(Calls, FailuresLeaveTheOutputsAlone) {
    EchoPair pair;
    std::string text = "mine";
    RefPtr<IEcho> out;
    EXPECT_EQ(pair.echo->Refuse(false, text, out.put()), result::kNotFound);
    EXPECT_EQ(pair.echo->Refuse(true, text, out.put()), result::kAccessDenied);
    EXPECT_EQ(text, "mine");
    EXPECT_FALSE(out);
    EXPECT_EQ(pair.echo->Exchange(nullptr, nullptr), result::kInvalidArgument);
    std::uint32_t filled = 7;
    byte_vector storage(remoting::kMaxOutBytes + 1);
    EXPECT_EQ(pair.echo->Fill(storage, filled), result::kInvalidSize);
    EXPECT_EQ(filled, 7u);
}

// A method that claims what it has not filled gives away nothing of its process.
TEST_F(Calls, WhatAMethodDidNotFillIsZero) {
    EchoPair pair;
    for (const std::size_t size : {100u, 65'536u, 65'537u}) {
        for (const auto code : {result::kOk, result::kFalse, result::kNotReady, result::kFalse}) {
            { const byte_vector old(size, std::byte{0xEE}); }
            byte_vector storage(size, std::byte{0xDD});
            std::uint32_t filled = 0;
            pair.real->fill_result = code;
            EXPECT_EQ(pair.echo->Fill(storage, filled), code);
            const std::size_t fours = code == result::kOk ? filled : filled / 2;
            EXPECT_EQ(filled, vek::Failed(code) ? 0 : size / 2);
            EXPECT_EQ(std::ranges::count(storage, std::byte{4}), fours);
            EXPECT_EQ(std::ranges::count(storage, std::byte{0}), filled - fours);
            EXPECT_EQ(std::ranges::count(storage, std::byte{0xDD}), size - filled);
        }
    }
}

TEST_F(Calls, ObjectsTravelBothWaysAndComeHomeAsThemselves) {
    for (const auto loops : {std::uint8_t{0}, std::uint8_t{1}}) {
        EchoPair pair({loops, 1, 1, 1});
        const auto& [real, echo] = std::tie(pair.real, pair.echo);
        const auto mine = vek::MakeObject<Echo>();
        std::uint32_t reached = 99;
        EXPECT_EQ(echo->CallBack(mine.get(), 6, reached), result::kOk);
        EXPECT_EQ(reached, 0u);

        real->give = vek::MakeObject<Echo>();
        RefPtr<IEcho> out, none, home;
        EXPECT_EQ(echo->Exchange(mine.get(), out.put()), result::kOk);
        ASSERT_TRUE(out);
        RefPtr<IEcho> theirs = real->kept;  // a proxy of `mine`
        ASSERT_TRUE(theirs);
        EXPECT_EQ(theirs->Exchange(real.get(), none.put()), result::kOk);
        EXPECT_FALSE(none);

        // A proxy that goes home is the object itself, or a proxy of a proxy.
        EXPECT_EQ(echo->Exchange(echo.get(), none.put()), result::kOk);
        EXPECT_EQ(real->kept.get() == static_cast<IEcho*>(real.get()), loops == 1);
        real->kept.reset();
        mine->kept.reset();
        theirs.reset();

        // So is one that goes home as a result, though nobody else holds it, or another thread lets
        // it go while the reply is on its way, and says so first.
        for (const bool meanwhile : {false, true}) {
            EXPECT_EQ(echo->Exchange(mine.get(), none.put()), result::kOk);
            if (meanwhile) theirs = real->kept;
            real->give = std::move(real->kept);
            pair.client_wire->tamper_reply = [&](byte_vector&) {
                std::thread([&] {
                    theirs.reset();
                    remoting::Rope nothing;
                    remoting::Reply reply;
                    pair.server->sender().SendReceive({0, 0, 2, 0}, nothing, reply);
                }).join();
                return false;
            };
            EXPECT_EQ(echo->Exchange(nullptr, home.put()), result::kOk);
            EXPECT_EQ(home.get() == static_cast<IEcho*>(mine.get()), loops == 1);
            pair.client_wire->tamper_reply = nullptr;
            home.reset();
        }

        RefPtr<vek::IServiceLocator> other;
        ASSERT_EQ(echo->QueryInterface(other->kInterfaceId, other.put_void()), result::kOk);
        EXPECT_EQ(other->GetInterface(1, nullptr, none.put_void()), result::kNotReady);

        out.reset();
        other.reset();
        // Being let go costs no call; it is said with the next.
        std::int64_t sum = 0;
        EXPECT_EQ(echo->Add(1, false, sum), result::kFalse);
        EXPECT_EQ(pair.server->registry().size(), 1u) << "every stub but the echo's is given back";
        EXPECT_EQ(pair.client->registry().size(), 0u);
    }
}

TEST_F(Calls, InterfacesThatStayAtHome) {
    EchoPair pair;
    void* out = nullptr;
    const auto sent = pair.client->requests_sent();
    for (const vek::interface_id_t id :
         {0x6EF3329Bu, 0x1EBC8213u, 0x2F49A170u, 0x3D9008F7u, 0x7B28A942u, 0x9CCA5603u}) {
        EXPECT_EQ(pair.echo->QueryInterface(id, &out), result::kNotSupported);
    }
    EXPECT_EQ(pair.client->requests_sent(), sent);
    EXPECT_EQ(pair.echo->QueryInterface(ISecret::kInterfaceId, &out), result::kNotSupported);
    EXPECT_EQ(pair.echo->QueryInterface(0x12345678, &out), result::kInterfaceNotSupported);

    // What marshals itself needs handles that say that they stand for objects.
    Pair plain(RefPtr<IEcho>(pair.real), {1, 1, 0, 1}, Factories());
    RefPtr<vek::IServiceLocator> locator;
    ASSERT_EQ(plain.client->GetServiceLocator(locator), result::kOk);
    EXPECT_EQ(locator->GetInterface(IEcho::kInterfaceId, nullptr, &out), result::kNotSupported);
}

// Both ends know the layout; a peer that does not is refused, whatever it sends.
TEST_F(Calls, MalformedCallsAreRefused) {
    EchoPair pair;
    const auto proxy = 2 | remoting::kObjectFlag;  // the locator's number is 1
    const auto own = proxy | remoting::kStubFlag;
    const std::uint32_t iid = IEcho::kInterfaceId;
    const auto bad = result::kInvalidArgument;
    const struct {
        remoting::CallTarget target;  // handle, interface, method, attributes
        std::size_t size;             // of the data
        result_t code;
    } cases[] = {
        {{own, iid, 1000, 2}, 3, result::kInvalidSize},             // a query without an id
        {{own, iid, 1001, 0}, 0, result::kMethodNotFound},          // no special method
        {{own + 77, iid, 1000, 0}, 4, bad},                         // a query of no object
        {{own + 77, iid, 3, 0}, 0, bad},                            // no object
        {{own + 77, iid, 1, 0}, 0, bad},                            // a release of no object
        {{proxy, iid, 3, 1}, 4, bad},                               // as the proxy knows it
        {{own, vek::IServiceLocator::kInterfaceId, 3, 0}, 1, bad},  // another interface
        {{own, iid, 10, 0}, 0, result::kMethodNotFound},            // the method after the last
        {{own, iid, 2, 0}, 0, result::kMethodNotFound},             // a method of the base
        {{own, iid, 3, 2}, 4, bad},                                 // other attributes
        {{own, iid, 3, 1}, 0, result::kBufferTooSmall},             // no priority
        {{own, iid, 3, 1}, 1, bad},                                 // no flags
        {{own, iid, 3, 1}, 3, result::kBufferTooSmall},             // too short
        {{own, iid, 3, 1}, 8, result::kInvalidSize},                // too long
        {{0, 0, 2, 0}, 0, result::kMethodNotFound},                 // no service call
    };
    for (const auto& [target, size, code] : cases) {
        EXPECT_EQ(pair.Raw(target, byte_vector(size)), code) << target.method_id << ", " << size;
    }
    EXPECT_EQ(pair.Raw({own, iid, 3, 1}, byte_vector{std::byte{3}, {}, {}, {}}), bad) << "priority";
    EXPECT_EQ(pair.Raw({own, iid, 3, 1}, byte_vector(4, std::byte{3})), bad);
    EXPECT_EQ(pair.trace->Count("): priority.DeserializeFromRope(reader), result = 0x8"), 3u);
    std::int64_t sum = 0;
    EXPECT_EQ(pair.echo->Add(1, false, sum), result::kFalse) << "the next call works";
    EXPECT_EQ(pair.Raw({own, 0, 1, 0}), result::kOk) << "a proper release";
    EXPECT_EQ(pair.echo->Add(1, false, sum), bad);

    Pair fresh(nullptr);  // whose features are not agreed
    EXPECT_EQ(fresh.Raw({own, iid, 3, 2}), result::kNotInitialized);
    fresh.client->releases().Add({&own, 1});
    EXPECT_EQ(fresh.Raw({0, 0, 2, 0}), result::kNotInitialized);
}

// The peer's replies are no more to be trusted than its requests.
TEST_F(Calls, MalformedRepliesFailTheCall) {
    EchoPair pair;
    const auto shorten = [](byte_vector& packet, std::size_t by, std::string_view end = {}) {
        packet.resize(packet.size() - by);
        for (const char c : end) packet.push_back(static_cast<std::byte>(c));
        // The call data is the last block: its size precedes it.
        if (packet.size() > 16) packet[18] = static_cast<std::byte>(packet.size() - (4 + 12 + 4));
    };
    // The reply to Add ends with 4 bytes of result, 8 of the sum and 1 of flags; before that are 8
    // of the reply's head, and 4 of the block's.
    const std::tuple<result_t, std::size_t, std::string_view> cases[] = {
        {result::kInvalidSize, 13, ""},      {result::kBufferTooSmall, 14, ""},
        {result::kBufferTooSmall, 1, ""},    {result::kInvalidSize, 0, std::string_view("\0", 1)},
        {result::kInvalidArgument, 1, "\1"}, {result::kInvalidSize, 13 + 8 + 4, ""}};
    for (const auto& [code, cut, end] : cases) {
        pair.client_wire->tamper_reply = [&, cut = cut, end = end](byte_vector& packet) {
            shorten(packet, cut, end);
            return false;
        };
        std::int64_t sum = 5;
        EXPECT_EQ(pair.echo->Add(1, false, sum), code) << cut;
        EXPECT_EQ(sum, 5);
    }
    // A query's reply ends with 4 bytes of result and 8 of a handle that is not the peer's to give.
    const std::tuple<result_t, std::size_t, std::uint8_t> queries[] = {
        {result::kInvalidHandle, 0, 0x00},
        {result::kInvalidHandle, 0, 0xC0},
        {result::kInvalidSize, 12, 0},
        {result::kInvalidSize, 12 + 8 + 4, 0}};
    for (const auto& [code, cut, handle] : queries) {
        pair.client_wire->tamper_reply = [&, cut = cut, handle = handle](byte_vector& packet) {
            std::fill(packet.end() - 12, packet.end() - 1, std::byte{});
            packet.back() = static_cast<std::byte>(handle);
            shorten(packet, cut);
            return false;
        };
        void* other = nullptr;
        EXPECT_EQ(pair.echo->QueryInterface(0x10000003, &other), code) << cut;
    }
    EXPECT_EQ(pair.trace->Count("): reader.Assign(in, stream_ids::RequestData), result = 0x8"), 1u);
    EXPECT_EQ(pair.trace->Count("cannot process reply"), 2u);
    EXPECT_EQ(pair.trace->Count("QueryInterface reply is too short: 0 of 12 expected"), 1u);
    pair.client_wire->tamper_reply = nullptr;
}

// The peer is lost at every message of a conversation in turn: both ends let everything go.
TEST_F(Calls, ALostPeerFailsTheCallAndReleasesEverything) {
    for (int lost_at = 0; lost_at < 12; ++lost_at) {
        EchoPair pair;
        int passed = 0;
        const auto lose = [&](byte_vector&) {
            if (passed++ != lost_at) return false;
            pair.client_wire->Close(result::kRemoteCallFailed);
            return true;
        };
        pair.client_wire->tamper_request = pair.client_wire->tamper_reply = lose;
        pair.server_wire->tamper_request = pair.server_wire->tamper_reply = lose;
        const auto mine = vek::MakeObject<Echo>();
        pair.real->give = vek::MakeObject<Echo>();
        RefPtr<IEcho> out;
        std::uint32_t reached = 0;
        result_t code = pair.echo->Exchange(mine.get(), out.put());
        if (vek::Succeeded(code)) code = pair.echo->CallBack(mine.get(), 3, reached);
        EXPECT_EQ(code, lost_at < 10 ? result::kRemoteCallFailed : result::kOk) << lost_at;
        if (lost_at < 10) {
            std::int64_t sum;
            EXPECT_EQ(pair.echo->Add(1, false, sum), result::kRemoteCallFailed);
            EXPECT_EQ(pair.server->registry().size() + pair.client->registry().size(), 0u);
            EXPECT_EQ(pair.master->locks, 0);
            EXPECT_EQ(pair.client_closed, result::kRemoteCallFailed);
        }
        pair.real->kept.reset();
    }
}

}  // namespace
}  // namespace tests
