#pragma once

// Two ends of a connection in one process, whose features are not agreed yet: each call is handed
// to the other end on the caller's thread, through real packets.

#include <gmock/gmock.h>

#include "common/remoting/remote_interfaces.h"
#include "remote/transport.h"
#include "tests/support/recording_tracer.h"
#include "vek/remoting/describe.h"

namespace tests {

using byte_vector = std::vector<std::byte>;
using vek::RefPtr;
using vek::result_t;
namespace remoting = vek::remoting;
namespace result = vek::result;

// To connect where a machine may stand still for seconds.
inline const remote::TransportConfig kPatiently = [] {
    remote::TransportConfig config;
    config.connect_timeout = std::chrono::seconds(20);
    return config;
}();

// Keeps the packet that it is given to send.
struct PacketKeeper final : remote::ReplySender {
    result_t Send(remote::RpcProtocolProcessorOut& out) noexcept override {
        ++count;
        packet.resize(static_cast<std::size_t>(out.PacketSize()));
        EXPECT_EQ(out.ConstructPacket(packet), result::kOk);
        return result::kOk;
    }
    byte_vector packet;
    int count = 0;
};

class Loopback final : public remote::Transport {
public:
    // What may be done to a packet on its way; true loses the peer instead.
    using Tamper = std::function<bool(byte_vector& packet)>;

    explicit Loopback(std::weak_ptr<remote::RequestHandler> own) : own_(std::move(own)) {}

    static void Join(const std::shared_ptr<Loopback>& a, const std::shared_ptr<Loopback>& b) {
        a->peer_ = b;
        b->peer_ = a;
    }

    result_t SendReceive(remote::RpcProtocolProcessorOut& request,
                         remote::RpcProtocolProcessorIn& reply) noexcept override {
        const auto peer = peer_.lock();
        if (!open_ || !peer) return result::kNotReady;
        if (vek::Failed(refusal)) return refusal;
        PacketKeeper sent, answer;
        sent.Send(request);
        if (tamper_request && tamper_request(sent.packet)) return result::kRemoteCallFailed;
        const auto server = peer->own_.lock();
        remote::RpcProtocolProcessorIn in;
        if (!server) return result::kRemoteCallFailed;
        EXPECT_EQ(in.ParsePacket(remote::bytes_t(sent.packet)), result::kOk);
        server->HandleRequest(in, answer);
        EXPECT_EQ(answer.count, 1) << "every request is answered once";
        if (tamper_reply && tamper_reply(answer.packet)) return result::kRemoteCallFailed;
        return TakeReply(answer.packet, reply);
    }
    // As a transport does that writes into the storage that the caller has for a part.
    static result_t TakeReply(byte_vector& packet, remote::RpcProtocolProcessorIn& reply) {
        remote::UsualHead head;
        if (reply.landing() == nullptr || !head.Read(packet)) return reply.ParsePacket(packet);
        std::size_t at = 0;
        const auto data = remote::bytes_t(packet).subspan(sizeof head);
        const auto storage = reply.landing()->Find(data, data.size(), at);
        if (storage.empty()) return reply.ParsePacket(packet);
        const auto begin = packet.begin() + static_cast<std::ptrdiff_t>(sizeof head + at);
        const auto end = begin + static_cast<std::ptrdiff_t>(storage.size());
        std::copy(begin, end, storage.begin());
        packet.erase(begin, end);
        head.data_size = remote::rpc_block_info::AllRemainingData;
        std::memcpy(packet.data(), &head, sizeof head);
        reply.landing()->Landed();
        return reply.ParsePacket(packet);
    }
    bool SupportsFiles() const noexcept override { return supports_files; }
    result_t SendReceiveWithFiles(remote::RpcProtocolProcessorOut& request,
                                  remote::RpcProtocolProcessorIn& reply) noexcept override {
        handles_sent += request.file_handles().size();
        return SendReceive(request, reply);
    }
    void Close(result_t reason) noexcept override {
        if (!open_.exchange(false)) return;
        if (const auto peer = peer_.lock()) peer->Close(result::kRemoteCallFailed);
        if (const auto own = own_.lock()) own->OnTransportClosed(reason);
    }
    bool IsOpen() const noexcept override { return open_; }
    const remote::PeerIdentity& peer() const noexcept override { return identity_; }

    bool supports_files = false;
    std::size_t handles_sent = 0;
    Tamper tamper_request;
    Tamper tamper_reply;
    result_t refusal = result::kOk;  // a failure is what requests are refused with, unseen

private:
    const remote::PeerIdentity identity_;
    std::weak_ptr<remote::RequestHandler> own_;
    std::weak_ptr<Loopback> peer_;
    std::atomic<bool> open_{true};
};

// Offers one object as every service it has.
class OneServiceLocator final : public vek::ObjectImpl<vek::IServiceLocator> {
public:
    explicit OneServiceLocator(RefPtr<vek::IObject> service) : service_(std::move(service)) {}
    result_t GetInterface(vek::interface_id_t id, const void*, void** out) noexcept override {
        return service_ ? service_->QueryInterface(id, out) : result::kNotFound;
    }

private:
    RefPtr<vek::IObject> service_;
};

struct TestMaster final : remoting::MasterObject {
    explicit TestMaster(RefPtr<vek::IObject> service)
        : locator(vek::MakeObject<OneServiceLocator>(std::move(service))) {}
    result_t Lock() noexcept override {
        if (vek::Succeeded(lock_result)) ++locks;
        return lock_result;
    }
    void Unlock() noexcept override { --locks; }
    result_t GetServiceLocator(RefPtr<vek::IServiceLocator>& out) noexcept override {
        if (vek::Succeeded(locator_result)) out = locator;
        return locator_result;
    }

    std::atomic<int> locks = 0;
    result_t lock_result = result::kOk;
    result_t locator_result = result::kOk;
    RefPtr<vek::IServiceLocator> locator;
};

struct Pair {
    explicit Pair(RefPtr<vek::IObject> service,
                  remoting::ProtocolFeatures features = remoting::kOwnFeatures,
                  std::shared_ptr<const remoting::ProxyStubFactories> factories =
                      plugins::remoting::RemoteInterfaces())
        : master(std::make_shared<TestMaster>(std::move(service))) {
        remoting::ConnectionConfig config;
        config.factories = std::move(factories);
        config.features = features;
        config.tracer = trace;
        config.on_closed = [this](result_t reason) { client_closed = reason; };
        EXPECT_EQ(remoting::Connection::Create(config, client), result::kOk);
        config.master = master;
        config.on_closed = [this](result_t reason) { server_closed = reason; };
        EXPECT_EQ(remoting::Connection::Create(config, server), result::kOk);
        client_wire = std::make_shared<Loopback>(client);
        server_wire = std::make_shared<Loopback>(server);
        Loopback::Join(client_wire, server_wire);
        client->Attach(client_wire);
        server->Attach(server_wire);
    }
    ~Pair() {
        client->Close(result::kOk);
        server->Close(result::kOk);
    }

    // The service, as the client sees it.
    template <class I>
    RefPtr<I> Service() {
        RefPtr<vek::IServiceLocator> locator;
        RefPtr<I> service;
        EXPECT_EQ(client->GetServiceLocator(locator), result::kOk);
        if (locator) {
            EXPECT_EQ(locator->GetInterface(I::kInterfaceId, nullptr, service.put_void()),
                      result::kOk);
        }
        return service;
    }

    // Hands raw call data to the server.
    result_t Raw(const remoting::CallTarget& target, const byte_vector& data = {}) {
        remoting::Rope rope;
        rope.Append(data);
        remoting::Reply reply;
        return client->sender().SendReceive(target, rope, reply);
    }

    const std::shared_ptr<RecordingTracer> trace = std::make_shared<RecordingTracer>(800);
    std::shared_ptr<TestMaster> master;
    std::shared_ptr<remoting::Connection> client;
    std::shared_ptr<remoting::Connection> server;
    std::shared_ptr<Loopback> client_wire;
    std::shared_ptr<Loopback> server_wire;
    std::atomic<result_t> client_closed = result::kFalse;
    std::atomic<result_t> server_closed = result::kFalse;
};

}  // namespace tests
