#pragma once

#include <memory>

#include "remote/socket/connection_posix.h"
#include "remote/transport.h"

namespace remote {

// A connection as its user holds it, who ends it by letting it go.
class SocketTransport final : public Transport {
public:
    explicit SocketTransport(std::shared_ptr<SocketConnection> connection) noexcept
        : connection_(std::move(connection)) {}
    ~SocketTransport() override;

    vek::result_t SendReceive(RpcProtocolProcessorOut& request,
                              RpcProtocolProcessorIn& reply) noexcept override;
    bool SupportsFiles() const noexcept override { return true; }
    vek::result_t SendReceiveWithFiles(RpcProtocolProcessorOut& request,
                                       RpcProtocolProcessorIn& reply) noexcept override {
        return SendReceive(request, reply);
    }
    void Close(vek::result_t reason) noexcept override { connection_->Close(reason); }
    bool IsOpen() const noexcept override { return connection_->IsOpen(); }
    std::uint32_t peer_process_id() const noexcept override {
        return connection_->peer_process_id();
    }

private:
    const std::shared_ptr<SocketConnection> connection_;
};

}  // namespace remote
