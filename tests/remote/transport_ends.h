#pragma once

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "remote/transport.h"
#include "tests/support/wait_until.h"
#include "vek/platform/thread.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/eventfd.h>
#include <unistd.h>

#include <filesystem>
#endif

namespace tests {

inline remote::bytes_t Bytes(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}
inline std::string Text(remote::bytes_t bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Signals the event and closes the handle.
inline void SetAndClose(remote::handle_t event) {
#ifdef _WIN32
    ::SetEvent(reinterpret_cast<HANDLE>(event));
    ::CloseHandle(reinterpret_cast<HANDLE>(event));
#else
    ::eventfd_write(static_cast<int>(event), 1);
    ::close(static_cast<int>(event));
#endif
}

// How many this process has open.
inline std::ptrdiff_t OpenHandles() {
#ifdef _WIN32
    const HANDLE next = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);  // Wine does not count them
    return ::CloseHandle(next), reinterpret_cast<std::ptrdiff_t>(next) / 4;
#else
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
#endif
}

// Orders what threads at both ends do as the sockets do, of which the thread sanitizer does not see
// that they are two ends of one.
inline void NoteOrder() {
    static std::atomic<int> order{0};
    ++order;
}

// Answers text with text. Signals the events that it gets, and sends those in `events`.
class TextHandler final : public remote::RequestHandler {
public:
    using answer_t = std::function<std::string(const std::string&)>;

    explicit TextHandler(answer_t answer) : answer_(std::move(answer)) {}

    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override {
        for (const remote::handle_t event : request.handles()) SetAndClose(event);
        NoteOrder();
        const std::string text = answer_(Text(request.GetCallData()));
        if (text == "no reply") return;
        const std::array<remote::bytes_t, 1> pieces{Bytes(text)};
        remote::RpcProtocolProcessorOut packet;
        // A wrong one, where it is asked for.
        packet.SetCallIdentification(request.call_id() + (text == "wrong id"), 0);
        packet.SetCallData(pieces);
        if (!events.empty()) packet.SetFileHandles(events);
        NoteOrder();
        reply.Send(packet);
    }

    void OnTransportClosed(vek::result_t reason) noexcept override {
        reason_ = closed_ ? vek::result::kUnexpected : reason;  // once
        closed_ = true;
    }

    // The reason for the transport's end, when it has come.
    vek::result_t Closed() const {
        return WaitUntil([this] { return closed_.load(); }) ? reason_.load() : vek::result::kOk;
    }

    std::vector<remote::handle_t> events;

private:
    const answer_t answer_;
    std::atomic<vek::result_t> reason_{0};
    std::atomic<bool> closed_{false};
};

// Accepts a peer: `handler` serves it, and `transport` reaches it.
template <class Handler>
remote::AcceptPeer Keep(std::shared_ptr<remote::Transport>& transport, const Handler& handler) {
    return [&](std::shared_ptr<remote::Transport> made) {
        transport = std::move(made);
        return handler;
    };
}

inline vek::result_t Call(remote::Transport& transport, std::string_view text,
                          std::string* answer = nullptr) {
    const std::array<remote::bytes_t, 2> pieces{Bytes(text.substr(0, text.size() / 2)),
                                                Bytes(text.substr(text.size() / 2))};
    remote::RpcProtocolProcessorOut request;
    request.SetCallIdentification(7, 0);
    request.SetCallData(pieces);
    remote::RpcProtocolProcessorIn reply;
    NoteOrder();
    const vek::result_t code = transport.SendReceive(request, reply);
    NoteOrder();
    if (vek::Succeeded(code) && answer != nullptr) *answer = Text(reply.GetCallData());
    return code;
}

// The answer, or "failed".
inline std::string Ask(remote::Transport& transport, std::string_view text) {
    std::string answer = "failed";
    Call(transport, text, &answer);
    return answer;
}

inline remote::Endpoint NewEndpoint() {
    static std::atomic<std::uint32_t> count{0};
    return {vek::platform::CurrentProcessId() + (++count << 22), 0};
}

inline std::string Echo(const std::string& text) { return text; }

// A listener with what has connected to it, and a transport to it from the same process.
struct Ends {
    explicit Ends(TextHandler::answer_t server_answer = Echo,
                  TextHandler::answer_t client_answer = Echo,
                  remote::Endpoint endpoint = NewEndpoint(),
                  const remote::TransportConfig& config = {})
        : server_handler(std::make_shared<TextHandler>(std::move(server_answer))),
          client_handler(std::make_shared<TextHandler>(std::move(client_answer))) {
        const auto accept = Keep(server, server_handler);
        EXPECT_EQ(remote::Listen(endpoint, accept, config, listener), vek::result::kOk);
        EXPECT_EQ(remote::ConnectTransport(listener->endpoint(), client_handler, config, client),
                  vek::result::kOk);
    }

    std::shared_ptr<TextHandler> server_handler;
    std::shared_ptr<TextHandler> client_handler;
    std::shared_ptr<remote::Transport> server;
    std::shared_ptr<remote::Transport> client;
    std::unique_ptr<remote::Listener> listener;
};

}  // namespace tests
