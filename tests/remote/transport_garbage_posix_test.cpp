// Peers that do not keep to what is agreed.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <thread>

#include "remote/socket/address_posix.h"
#include "remote/socket/channel_posix.h"
#include "remote/socket/frame_posix.h"
#include "tests/remote/transport_ends.h"
#include "vek/platform/thread.h"

namespace {

namespace result = vek::result;
using enum remote::FrameKind;
using remote::FrameKind;
using vek::platform::Descriptor;

constexpr std::chrono::seconds kSoon{5};

// `size`, `kind`, zero and what follows.
std::string RawFrame(std::uint32_t size, FrameKind kind, std::string_view body = {}) {
    std::string bytes(8, '\0');
    std::memcpy(bytes.data(), &size, sizeof size);
    std::memcpy(bytes.data() + 4, &kind, sizeof kind);
    return bytes.append(body);
}

void SendRaw(int socket, std::string_view bytes) {
    EXPECT_EQ(::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
}

// The verdict that comes in a frame of `kind`.
vek::result_t ReceiveVerdict(int socket, FrameKind kind) {
    remote::LimitReceiving(socket, kSoon);
    remote::Frame frame;
    vek::result_t verdict = result::kUnexpected;
    EXPECT_EQ(remote::ReceiveFrame(socket, remote::kVerdictSize, frame), remote::Receiving::kFrame);
    EXPECT_EQ(frame.kind, kind);
    EXPECT_TRUE(remote::ReadVerdict(frame, verdict));
    return verdict;
}

// Whether the other end closes within some seconds, whatever it sends before.
bool IsClosed(int socket) {
    remote::LimitReceiving(socket, kSoon);
    std::array<char, 4096> bytes;
    ssize_t received = 0;
    while ((received = ::recv(socket, bytes.data(), bytes.size(), 0)) > 0) continue;
    return received == 0 || errno == ECONNRESET;
}

struct Garbage : testing::Test, tests::Ends {
    Garbage()
        : Ends([this](const std::string& text) {
              if (text == "wait") ++waiting, tests::WaitUntil([this] { return release.load(); });
              return text;
          }) {}
    ~Garbage() override {
        // An honest peer is served as ever.
        EXPECT_EQ(remote::ConnectTransport(endpoint, client_handler, {}, client), result::kOk);
        EXPECT_EQ(tests::Ask(*client, "still here"), "still here");
        listener.reset();
    }

    Descriptor Connect() const {
        Descriptor control;
        EXPECT_EQ(remote::ConnectTo(endpoint, kSoon, control), result::kOk);
        EXPECT_EQ(ReceiveVerdict(control.get(), kWelcome), result::kOk);
        return control;
    }

    // Gives this end of a new channel.
    static Descriptor NewChannel(const Descriptor& control, vek::result_t verdict = result::kOk) {
        Descriptor here, there;
        EXPECT_EQ(remote::MakePair(here, there), result::kOk);
        const std::array<int, 1> sent{there.get()};
        remote::SendFrame(control.get(), kNewChannel, {}, {}, sent);
        EXPECT_EQ(ReceiveVerdict(here.get(), kWelcome), verdict);
        return here;
    }

    const remote::Endpoint endpoint = listener->endpoint();
    std::atomic<int> waiting{0};
    std::atomic<bool> release{false};
};

TEST_F(Garbage, EndsTheConnection) {
    const std::vector<std::string> cases[] = {
        {"GET / HTTP/1.1\r\n", RawFrame(0, kNewChannel), RawFrame(0, kRequest),
         RawFrame(0xFFFFFFFF, kNewChannel)},
        // On a channel.
        {"abc", RawFrame(4, kReply, "abcd"), RawFrame(0x7FFFFFFF, kRequest),
         RawFrame(2, kRequest, "abcd"), RawFrame(400, kRequest, "abcd")}};
    for (const bool on_channel : {false, true}) {
        for (const std::string& bytes : cases[on_channel]) {
            const Descriptor control = Connect();
            const Descriptor channel = on_channel ? NewChannel(control) : Descriptor();
            const int socket = on_channel ? channel.get() : control.get();
            SendRaw(socket, bytes);
            ::shutdown(socket, SHUT_WR);
            EXPECT_TRUE(IsClosed(socket) && IsClosed(control.get())) << bytes;
        }
    }
    // Descriptors that are no channel: another kind of file, two at once.
    const Descriptor file(::open("/dev/null", O_RDWR));
    Descriptor here, there;
    EXPECT_EQ(remote::MakePair(here, there), result::kOk);
    const std::vector<int> sent[] = {{file.get()}, {here.get(), there.get()}};
    for (const auto& descriptors : sent) {
        const Descriptor control = Connect();
        remote::SendFrame(control.get(), kNewChannel, {}, {}, descriptors);
        EXPECT_TRUE(IsClosed(control.get()));
    }
}

TEST_F(Garbage, InAPacketIsAnswered) {
    const Descriptor control = Connect();
    const Descriptor channel = NewChannel(control);
    SendRaw(channel.get(), RawFrame(4, kRequest, "abcd"));
    EXPECT_EQ(ReceiveVerdict(channel.get(), kNoReply), result::kInvalidSignature);
    const std::ptrdiff_t before = tests::OpenHandles();
    const std::vector<remote::handle_t> handles(200, channel.get());
    for (int i = 0; i < 4; ++i) {
        remote::RpcProtocolProcessorOut request;
        request.SetFileHandles(handles);
        vek::result_t failure = result::kOk;
        remote::SendPacket(channel.get(), kRequest, request, failure);
        EXPECT_EQ(ReceiveVerdict(channel.get(), kNoReply), result::kNotSupported);
    }
    EXPECT_TRUE(tests::WaitUntil([&] { return tests::OpenHandles() <= before; }));
}

TEST_F(Garbage, MoreChannelsThanAllowedAreRefused) {
    const Descriptor control = Connect();
    std::vector<Descriptor> channels;
    for (std::size_t i = 0; i < remote::kMaxChannels; ++i) channels.push_back(NewChannel(control));
    NewChannel(control, result::kInsufficientResources);
}

TEST_F(Garbage, IsNotLeftByManyCallsAtOnce) {
    const std::ptrdiff_t before = tests::OpenHandles();
    constexpr int kCalls = 140;  // each on a channel, which is two descriptors here
    constexpr int kAtOnce = remote::kMaxChannels;
    std::vector<std::jthread> threads;
    for (int i = 0; i < kCalls; ++i) {
        threads.emplace_back([&] { EXPECT_EQ(tests::Ask(*client, "wait"), "wait"); });
    }
    EXPECT_TRUE(tests::WaitUntil([&] { return waiting == kAtOnce; }));
    release = true;
    threads.clear();
    EXPECT_TRUE(tests::WaitUntil([&] { return tests::OpenHandles() <= before + 40; }));
}

// Has storage for `size` bytes from `offset` on.
struct PartOfReply final : remote::Landing {
    std::span<std::byte> Find(remote::bytes_t head, std::uint64_t size,
                              std::size_t& at) noexcept override {
        EXPECT_LE(head.size(), size);
        at = offset;
        return storage;
    }
    void Landed() noexcept override { landed = true; }
    std::size_t offset = 0;
    std::vector<std::byte> storage;
    bool landed = false;
};

TEST(Landing, TakesAPartOfALongReply) {
    constexpr std::size_t kLong = 70000;
    const struct {
        std::size_t size, offset, stored;
        FrameKind kind;
        bool lands;
    } cases[] = {{kLong, 16, 65000, kReply, true},
                 {kLong, 16, kLong - 16, kReply, true},
                 {kLong, 0, 1, kReply, true},
                 {2'000'000, 5, 1'999'000, kReply, true},
                 {kLong, 16, kLong - 15, kReply, false},
                 {kLong, 9000, 10, kReply, false},
                 {kLong, 16, 0, kReply, false},
                 {kLong, 16, 65000, kRequest, false},
                 {2'000'000, 5, 10, kReply, false},
                 {65000, 16, 60000, kReply, false},
                 {300, 16, 200, kReply, false}};
    for (const auto& [size, offset, stored, kind, lands] : cases) {
        std::string text(size, '\0');
        for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>(i % 251);
        const std::array<remote::bytes_t, 1> pieces{tests::Bytes(text)};
        remote::RpcProtocolProcessorOut out;
        out.SetCallIdentification(7, 0);
        out.SetCallData(pieces);
        Descriptor here, there;
        ASSERT_EQ(remote::MakePair(here, there), result::kOk);
        std::thread sender([&, kind = kind] {
            vek::result_t failure = result::kOk;
            EXPECT_EQ(remote::SendPacket(there.get(), kind, out, failure), remote::Sending::kSent);
        });
        PartOfReply part;
        part.offset = offset;
        part.storage.resize(stored);
        remote::ByteBudget budget{0};
        remote::Frame frame(budget);
        remote::RpcProtocolProcessorIn in;
        EXPECT_EQ(remote::ReceiveOnChannel(here.get(), in.room(), frame, &part),
                  remote::Receiving::kFrame);
        sender.join();
        EXPECT_EQ(part.landed, lands) << size << ' ' << stored;
        EXPECT_EQ(frame.ParseBy(in), result::kOk);
        std::string whole = tests::Text(in.GetCallData());
        if (part.landed) whole.insert(offset, tests::Text(part.storage));
        EXPECT_TRUE(whole == text) << size << ' ' << stored;
    }
}

TEST_F(Garbage, AsAReplyEndsTheCall) {
    const remote::Endpoint raw{endpoint.local_id + 1, 0};
    for (const std::string& bytes : {RawFrame(4, kNewChannel, "abcd"), RawFrame(0xFFFFFFFF, kReply),
                                     RawFrame(1u << 27, kReply, "abcd"), std::string()}) {
        Descriptor socket;
        ASSERT_EQ(remote::ListenAt(raw, socket), result::kOk);
        std::thread peer([&] {
            const Descriptor control(::accept(socket.get(), nullptr, nullptr));
            remote::SendVerdict(control.get(), kWelcome, result::kOk);
            remote::Frame frame;
            remote::ReceiveFrameWithDescriptors(control.get(), 0, frame);
            const Descriptor channel = std::move(frame.descriptors.at(0));
            remote::SendVerdict(channel.get(), kWelcome, result::kOk);
            EXPECT_EQ(remote::ReceiveFrame(channel.get(), 1000, frame), remote::Receiving::kFrame);
            SendRaw(channel.get(), bytes);
        });
        EXPECT_EQ(remote::ConnectTransport(raw, client_handler, {}, client), result::kOk);
        EXPECT_EQ(tests::Call(*client, "hello"), result::kRemoteCallFailed);
        EXPECT_FALSE(client->IsOpen());
        peer.join();
    }
}

}  // namespace
