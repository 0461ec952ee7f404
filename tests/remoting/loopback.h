#pragma once

// Two ends of a connection in one process: each call is handed to the other end on the caller's
// thread, through real packets.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "remote/transport.h"

namespace tests {

using byte_vector = std::vector<std::byte>;

inline byte_vector PacketOf(remote::RpcProtocolProcessorOut& out) {
    byte_vector packet(static_cast<std::size_t>(out.PacketSize()));
    EXPECT_EQ(out.ConstructPacket(packet), vek::result::kOk);
    return packet;
}

class Loopback final : public remote::Transport {
public:
    // What may be done to a packet on its way; true loses the peer instead.
    using Tamper = std::function<bool(byte_vector& packet)>;

    explicit Loopback(std::weak_ptr<remote::RequestHandler> own) : own_(std::move(own)) {}

    static void Join(const std::shared_ptr<Loopback>& a, const std::shared_ptr<Loopback>& b) {
        a->peer_ = b;
        b->peer_ = a;
    }

    vek::result_t SendReceive(remote::RpcProtocolProcessorOut& request,
                              remote::RpcProtocolProcessorIn& reply) noexcept override {
        const auto peer = peer_.lock();
        if (!open_ || !peer) return vek::result::kNotReady;
        byte_vector packet = PacketOf(request);
        if (tamper_request && tamper_request(packet)) return vek::result::kRemoteCallFailed;
        byte_vector answer;
        const vek::result_t served = peer->Serve(packet, answer);
        if (vek::Failed(served)) return served;
        if (tamper_reply && tamper_reply(answer)) return vek::result::kRemoteCallFailed;
        return reply.ParsePacket(answer);
    }
    bool SupportsFiles() const noexcept override { return false; }
    vek::result_t SendReceiveWithFiles(remote::RpcProtocolProcessorOut&,
                                       remote::RpcProtocolProcessorIn&) noexcept override {
        return vek::result::kNotSupported;
    }
    void Close(vek::result_t reason) noexcept override {
        if (!open_.exchange(false)) return;
        if (const auto peer = peer_.lock()) peer->Close(vek::result::kRemoteCallFailed);
        if (const auto own = own_.lock()) own->OnTransportClosed(reason);
    }
    bool IsOpen() const noexcept override { return open_; }
    std::uint32_t peer_process_id() const noexcept override { return 1; }

    // Hands a request to this end.
    vek::result_t Serve(const byte_vector& packet, byte_vector& answer) {
        const auto own = own_.lock();
        remote::RpcProtocolProcessorIn in;
        if (!own) return vek::result::kRemoteCallFailed;
        if (const auto parsed = in.ParsePacket(remote::bytes_t(packet)); vek::Failed(parsed)) {
            return parsed;
        }
        struct Sender final : remote::ReplySender {
            explicit Sender(byte_vector& to) : answer(to) {}
            vek::result_t Send(remote::RpcProtocolProcessorOut& out) noexcept override {
                answer = PacketOf(out);
                return vek::result::kOk;
            }
            byte_vector& answer;
        } sender(answer);
        own->HandleRequest(in, sender);
        return vek::result::kOk;
    }

    Tamper tamper_request;
    Tamper tamper_reply;

private:
    std::weak_ptr<remote::RequestHandler> own_;
    std::weak_ptr<Loopback> peer_;
    std::atomic<bool> open_{true};
};

}  // namespace tests
