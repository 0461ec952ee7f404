#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "remote/transport.h"

namespace tests {

inline remote::bytes_t Bytes(std::string_view text) {
    return std::as_bytes(std::span(text.data(), text.size()));
}
inline std::string Text(remote::bytes_t bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// Something that happens on another thread.
class Signal {
public:
    void Set() {
        const std::lock_guard guard(lock_);
        set_ = true;
        changed_.notify_all();
    }
    // False when it has not happened in 10 s.
    bool Wait() {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, std::chrono::seconds(10), [this] { return set_; });
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    bool set_ = false;
};

// Answers text with text.
class TextHandler final : public remote::RequestHandler {
public:
    using answer_t = std::function<std::string(const std::string&)>;

    explicit TextHandler(answer_t answer) : answer_(std::move(answer)) {}

    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override {
        const std::string text = answer_(Text(request.GetCallData()));
        if (text == "no reply") return;
        const std::array<remote::bytes_t, 1> pieces{Bytes(text)};
        remote::RpcProtocolProcessorOut packet;
        // A wrong one, where it is asked for.
        packet.SetCallIdentification(request.call_id() + (text == "wrong id"), 0);
        packet.SetCallData(pieces);
        reply.Send(packet);
    }

    void OnTransportClosed(vek::result_t reason) noexcept override {
        reason_ = reason;
        ++closed_;
        signal_.Set();
    }

    bool WaitClosed() { return signal_.Wait(); }
    int closed() const { return closed_; }
    vek::result_t reason() const { return reason_; }

private:
    const answer_t answer_;
    std::atomic<int> closed_{0};
    std::atomic<vek::result_t> reason_{0};
    Signal signal_;
};

inline vek::result_t Call(remote::Transport& transport, std::string_view text,
                          std::string& answer) {
    const std::array<remote::bytes_t, 2> pieces{Bytes(text.substr(0, text.size() / 2)),
                                                Bytes(text.substr(text.size() / 2))};
    remote::RpcProtocolProcessorOut request;
    request.SetCallIdentification(7, 0);
    request.SetCallData(pieces);
    remote::RpcProtocolProcessorIn reply;
    const vek::result_t code = transport.SendReceive(request, reply);
    if (vek::Succeeded(code)) {
        const remote::bytes_t data = reply.GetCallData();
        answer.assign(reinterpret_cast<const char*>(data.data()), data.size());
    }
    return code;
}

// The answer, or "failed".
inline std::string Ask(remote::Transport& transport, std::string_view text) {
    std::string answer;
    if (vek::Failed(Call(transport, text, answer))) answer = "failed";
    return answer;
}

}  // namespace tests
