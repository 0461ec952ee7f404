#pragma once

// A peer whose every byte is the fuzzer's.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "remote/transport.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/service_locator.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/marshalling.h"

namespace fuzz {

// Stops the fuzzer: what must hold does not.
inline void Require(bool condition) {
    if (!condition) std::abort();
}

// Packets an end's reply and drops it.
class DroppedReply final : public remote::ReplySender {
public:
    vek::result_t Send(remote::RpcProtocolProcessorOut& reply) noexcept override {
        ++count;
        packet.resize(static_cast<std::size_t>(reply.PacketSize()));
        Require(reply.ConstructPacket(packet) == vek::result::kOk);
        return vek::result::kOk;
    }
    int count = 0;
    std::vector<std::byte> packet;
};

// Answers each call with a packet of the input, and makes calls of its own before it answers.
class FuzzedPeer final : public remote::Transport {
public:
    FuzzedPeer(FuzzedDataProvider& input, std::weak_ptr<vek::remoting::Connection> connection)
        : input_(input), connection_(std::move(connection)) {}

    // Hands one request of the input to the connection.
    void Ask() {
        const auto connection = connection_.lock();
        if (!connection || depth_ >= 8) return;
        ++depth_;
        // Mostly well-formed heads, so that what is behind them is reached.
        vek::serialization::Writer writer;
        if (input_.ConsumeIntegralInRange(0, 9) > 0) {
            vek::remoting::CallTarget target;
            target.handle = input_.ConsumeIntegralInRange<std::uint64_t>(0, 6);
            if (target.handle != 0) target.handle |= vek::remoting::kStubFlag;
            if (input_.ConsumeBool()) target.handle |= vek::remoting::kObjectFlag;
            target.interface_id = IdOf(target.handle);
            target.method_id = input_.ConsumeBool()
                                   ? input_.ConsumeIntegralInRange<std::uint16_t>(0, 30)
                                   : vek::remoting::method_id::kQueryInterface;
            target.attributes = input_.ConsumeIntegralInRange<std::uint16_t>(0, 3);
            std::vector<vek::remoting::stub_handle_t> released;
            if (input_.ConsumeIntegralInRange(0, 15) == 0) released.push_back(target.handle);
            vek::remoting::WriteRequestHeader(writer, target, released);
            if (IsForLocator(target) && AddFeatures(writer) && input_.ConsumeBool()) {
                writer.Write(vek::interface_id_t{vek::IServiceLocator::kInterfaceId});
            }
        }
        const auto data = Bytes();
        writer.WriteBytes(data);
        remote::RpcProtocolProcessorOut out;
        out.SetCallIdentification(1, 0);
        const auto pieces = writer.Pieces();
        Require(out.SetCallData(pieces) == vek::result::kOk);
        std::vector<std::byte> packet(static_cast<std::size_t>(out.PacketSize()));
        Require(out.ConstructPacket(packet) == vek::result::kOk);
        remote::RpcProtocolProcessorIn in;
        if (vek::Failed(in.ParsePacket(remote::bytes_t(packet)))) std::abort();
        DroppedReply reply;
        connection->HandleRequest(in, reply);
        Require(reply.count == 1);
        --depth_;
    }

    vek::result_t SendReceive(remote::RpcProtocolProcessorOut& request,
                              remote::RpcProtocolProcessorIn& reply) noexcept override {
        std::vector<std::byte> sent(static_cast<std::size_t>(request.PacketSize()));
        Require(request.ConstructPacket(sent) == vek::result::kOk);
        if (!open_ || input_.remaining_bytes() == 0) return vek::result::kRemoteCallFailed;
        if (input_.ConsumeIntegralInRange(0, 7) == 0) Ask();
        if (input_.ConsumeIntegralInRange(0, 31) == 0) {
            Close(vek::result::kRemoteCallFailed);
            return vek::result::kRemoteCallFailed;
        }
        vek::serialization::Writer writer;
        if (input_.ConsumeIntegralInRange(0, 9) > 0) {
            vek::remoting::WriteReplyHeader(writer, vek::result::kOk, {});
            if (IsForLocator(TargetOf(sent))) {
                if (AddFeatures(writer) && input_.ConsumeBool()) {
                    writer.Write(input_.ConsumeIntegralInRange<std::uint64_t>(0, 6));
                }
            } else if (input_.ConsumeBool()) {
                writer.Write(std::uint32_t{0});
            }
        }
        const auto data = Bytes();
        writer.WriteBytes(data);
        remote::RpcProtocolProcessorOut out;
        out.SetCallIdentification(request.call_id(), 0);
        Require(out.SetCallData(writer.Pieces()) == vek::result::kOk);
        std::vector<std::byte> packet(static_cast<std::size_t>(out.PacketSize()));
        Require(out.ConstructPacket(packet) == vek::result::kOk);
        return reply.ParsePacket(remote::bytes_t(packet));
    }
    bool SupportsFiles() const noexcept override { return false; }
    vek::result_t SendReceiveWithFiles(remote::RpcProtocolProcessorOut&,
                                       remote::RpcProtocolProcessorIn&) noexcept override {
        return vek::result::kNotSupported;
    }
    void Close(vek::result_t reason) noexcept override {
        if (!std::exchange(open_, false)) return;
        if (const auto connection = connection_.lock()) connection->OnTransportClosed(reason);
    }
    bool IsOpen() const noexcept override { return open_; }
    const remote::PeerIdentity& peer() const noexcept override { return identity_; }

private:
    std::vector<std::byte> Bytes() {
        const auto size = input_.ConsumeIntegralInRange<std::size_t>(0, 64);
        return input_.ConsumeBytes<std::byte>(size);
    }
    static bool IsForLocator(const vek::remoting::CallTarget& target) {
        return target.handle == vek::remoting::kNoHandle &&
               target.method_id == vek::remoting::service_call::kServiceLocator;
    }
    static vek::remoting::CallTarget TargetOf(const std::vector<std::byte>& request) {
        remote::RpcProtocolProcessorIn in;
        Require(in.ParsePacket(remote::bytes_t(request)) == vek::result::kOk);
        vek::serialization::Reader reader(in.GetCallData());
        return vek::remoting::ReadRequestHeader(reader).target;
    }
    // Mostly a list as peers send it: else nothing behind that is reached.
    bool AddFeatures(vek::serialization::Writer& writer) {
        if (input_.ConsumeIntegralInRange(0, 7) == 0) return false;
        const auto size = input_.ConsumeIntegralInRange<std::uint32_t>(0, 7);
        writer.Write(size < 4 ? 4 : size);
        for (std::uint32_t i = 0; i < 4; ++i) {
            const auto feature = input_.ConsumeIntegralInRange<std::uint8_t>(0, 15);
            writer.Write(static_cast<std::uint8_t>(feature == 15 ? 2 : feature % 2));
        }
        for (std::uint32_t i = 4; i < size; ++i) writer.Write(std::uint8_t{0});
        return true;
    }
    vek::interface_id_t IdOf(vek::remoting::stub_handle_t handle) {
        const auto connection = connection_.lock();
        const auto stub = connection ? connection->registry().FindStub(handle) : nullptr;
        return stub ? stub->factory->interface_id : input_.ConsumeIntegral<std::uint32_t>();
    }

    const remote::PeerIdentity identity_;
    FuzzedDataProvider& input_;
    const std::weak_ptr<vek::remoting::Connection> connection_;
    bool open_ = true;
    int depth_ = 0;
};

// One end that is given the fuzzer for a peer.
class FuzzedConnection {
public:
    FuzzedConnection(FuzzedDataProvider& input, vek::remoting::ConnectionConfig config) {
        Require(vek::remoting::Connection::Create(std::move(config), connection) ==
                vek::result::kOk);
        peer = std::make_shared<FuzzedPeer>(input, connection);
        connection->Attach(peer);
    }
    ~FuzzedConnection() {
        connection->Close(vek::result::kOk);
        Require(connection->registry().size() == 0);
    }

    // A proxy of interface `id` for an object of the peer.
    vek::RefPtr<vek::IObject> ProxyOf(vek::interface_id_t id, vek::remoting::stub_handle_t handle) {
        vek::RefPtr<vek::IObject> proxy;
        static_cast<void>(
            connection->registry().CreateProxy(id,
                                               std::make_shared<vek::remoting::StubReference>(
                                                   vek::remoting::StubAddress{connection, handle}),
                                               proxy.put_void()));
        return proxy;
    }

    std::shared_ptr<vek::remoting::Connection> connection;
    std::shared_ptr<FuzzedPeer> peer;
};

}  // namespace fuzz
