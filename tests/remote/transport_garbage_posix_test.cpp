// Peers that do not keep to what is agreed.

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
using remote::FrameKind;
using tests::TextHandler;
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

FrameKind ReceiveKind(int socket) {
    remote::LimitReceiving(socket, kSoon);
    remote::Frame frame;
    EXPECT_EQ(remote::ReceiveFrame(socket, 1000, frame), remote::Receiving::kFrame);
    return frame.kind;
}

// Whether the other end closes within some seconds, whatever it sends before.
bool IsClosed(int socket) {
    remote::LimitReceiving(socket, kSoon);
    std::array<char, 4096> bytes;
    ssize_t received = 0;
    while ((received = ::recv(socket, bytes.data(), bytes.size(), 0)) > 0) continue;
    return received == 0 || errno == ECONNRESET;
}

class Garbage : public ::testing::Test {
protected:
    Garbage() {
        const auto accept = [this](std::shared_ptr<remote::Transport> made) {
            const std::lock_guard guard(lock);
            served.push_back(std::move(made));
            return handler;
        };
        EXPECT_EQ(remote::Listen(endpoint, accept, {}, listener), result::kOk);
    }
    ~Garbage() override {
        // An honest peer is served as ever.
        std::shared_ptr<remote::Transport> client;
        EXPECT_EQ(remote::ConnectTransport(endpoint, handler, {}, client), result::kOk);
        EXPECT_EQ(tests::Ask(*client, "still here"), "still here");
        listener.reset();
    }

    Descriptor Connect() const {
        Descriptor control;
        EXPECT_EQ(remote::ConnectTo(endpoint, kSoon, control), result::kOk);
        EXPECT_EQ(ReceiveKind(control.get()), FrameKind::kWelcome);
        return control;
    }

    // Gives this end of a channel that is served.
    static Descriptor NewChannel(int control) {
        Descriptor here;
        Descriptor there;
        EXPECT_EQ(remote::MakePair(here, there), result::kOk);
        const std::array<int, 1> sent{there.get()};
        remote::SendFrame(control, FrameKind::kNewChannel, {}, {}, sent);
        return here;
    }

    const remote::Endpoint endpoint{vek::platform::CurrentProcessId() + (1u << 31), 0};
    const std::shared_ptr<TextHandler> handler =
        std::make_shared<TextHandler>([](const std::string& text) { return text; });
    std::mutex lock;
    std::vector<std::shared_ptr<remote::Transport>> served;
    std::unique_ptr<remote::Listener> listener;
};

TEST_F(Garbage, OnTheControlSocketEndsTheConnection) {
    for (const std::string& bytes :
         {std::string("GET / HTTP/1.1\r\n"), std::string("abc"),
          RawFrame(0, FrameKind::kNewChannel), RawFrame(0, FrameKind::kRequest),
          RawFrame(0xFFFFFFFF, FrameKind::kNewChannel)}) {
        const Descriptor control = Connect();
        SendRaw(control.get(), bytes);
        ::shutdown(control.get(), SHUT_WR);
        EXPECT_TRUE(IsClosed(control.get())) << bytes;
    }
    // A descriptor that is no channel.
    const Descriptor control = Connect();
    std::array<int, 2> pipe;
    ASSERT_EQ(::pipe(pipe.data()), 0);
    remote::SendFrame(control.get(), FrameKind::kNewChannel, {}, {}, pipe);
    remote::SendFrame(control.get(), FrameKind::kNewChannel, {}, {}, std::span(pipe).first(1));
    for (const int end : pipe) ::close(end);
    EXPECT_TRUE(IsClosed(control.get()));
}

TEST_F(Garbage, OnAChannelEndsTheConnection) {
    for (const std::string& bytes :
         {RawFrame(4, FrameKind::kReply, "abcd"), RawFrame(0x7FFFFFFF, FrameKind::kRequest),
          RawFrame(2, FrameKind::kRequest, "abcd"), RawFrame(400, FrameKind::kRequest, "abcd"),
          RawFrame(4, static_cast<FrameKind>(77), "abcd"), std::string("abc")}) {
        const Descriptor control = Connect();
        const Descriptor channel = NewChannel(control.get());
        EXPECT_EQ(ReceiveKind(channel.get()), FrameKind::kWelcome);
        SendRaw(channel.get(), bytes);
        ::shutdown(channel.get(), SHUT_WR);
        EXPECT_TRUE(IsClosed(channel.get())) << bytes;
        EXPECT_TRUE(IsClosed(control.get())) << bytes;
    }
}

TEST_F(Garbage, InAPacketIsAnswered) {
    const Descriptor control = Connect();
    const Descriptor channel = NewChannel(control.get());
    EXPECT_EQ(ReceiveKind(channel.get()), FrameKind::kWelcome);
    SendRaw(channel.get(), RawFrame(4, FrameKind::kRequest, "abcd"));
    EXPECT_EQ(ReceiveKind(channel.get()), FrameKind::kNoReply);
}

TEST_F(Garbage, MoreChannelsThanAllowedAreRefused) {
    const Descriptor control = Connect();
    std::vector<Descriptor> channels;
    for (std::size_t i = 0; i < remote::kMaxChannels + 1; ++i) {
        channels.push_back(NewChannel(control.get()));
        vek::result_t verdict = result::kOk;
        remote::Frame frame;
        EXPECT_EQ(remote::ReceiveFrame(channels.back().get(), 8, frame), remote::Receiving::kFrame);
        EXPECT_TRUE(remote::ReadVerdict(frame, verdict));
        EXPECT_EQ(vek::Succeeded(verdict), i < remote::kMaxChannels);
    }
}

TEST_F(Garbage, AsAReplyEndsTheCall) {
    const remote::Endpoint raw{endpoint.local_id + 1, 0};
    for (const std::string& bytes :
         {RawFrame(4, FrameKind::kNewChannel, "abcd"), RawFrame(0xFFFFFFFF, FrameKind::kReply),
          RawFrame(1u << 27, FrameKind::kReply, "abcd"), std::string()}) {
        Descriptor socket;
        ASSERT_EQ(remote::ListenAt(raw, socket), result::kOk);
        std::thread peer([&] {
            const Descriptor control(::accept(socket.get(), nullptr, nullptr));
            remote::SendVerdict(control.get(), FrameKind::kWelcome, result::kOk);
            remote::Frame frame;
            remote::ReceiveFrameWithDescriptors(control.get(), 0, frame);
            const Descriptor channel = std::move(frame.descriptors.at(0));
            remote::SendVerdict(channel.get(), FrameKind::kWelcome, result::kOk);
            EXPECT_EQ(ReceiveKind(channel.get()), FrameKind::kRequest);
            SendRaw(channel.get(), bytes);
        });
        std::shared_ptr<remote::Transport> client;
        EXPECT_EQ(remote::ConnectTransport(raw, handler, {}, client), result::kOk);
        std::string answer;
        EXPECT_EQ(tests::Call(*client, "hello", answer), result::kRemoteCallFailed);
        EXPECT_FALSE(client->IsOpen());
        peer.join();
    }
}

}  // namespace
