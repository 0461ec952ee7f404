#include "vek/remoting/connection.h"

#include <mutex>

#include "vek/core/current_exception.h"
#include "vek/remoting/incoming_processor.h"
#include "vek/trace/line.h"

namespace vek::remoting {

using trace::Address;
using trace::Hex;

result_t Connection::Create(ConnectionConfig config,
                            std::shared_ptr<Connection>& connection) noexcept {
    try {
        auto made = std::make_shared<Connection>(Key{}, std::move(config));
        const result_t result = made->Init();
        if (Succeeded(result)) connection = std::move(made);
        return result;
    } catch (...) {
        return CurrentExceptionResult();
    }
}

Connection::Connection(Key, ConnectionConfig config) : config_(std::move(config)) {}

Connection::~Connection() {
    if (transport_) transport_->Close(result::kOk);
    End();
}

template <class Step>
result_t Connection::InitStep(const char* failure, Step step) noexcept {
    try {
        step();
        return result::kOk;
    } catch (...) {
        const result_t result = CurrentExceptionResult();
        trace::Write(config_.tracer, trace::level::kError, "VEK remoting: Error ", failure,
                     " in Connection(0x", Address(this), " )::Init(). res = ", Hex(result));
        return result;
    }
}

result_t Connection::Init() noexcept {
    result_t result = InitStep("creating a stub registry", [this] {
        auto generator = config_.make_generator ? config_.make_generator()
                                                : std::make_unique<CountingGenerator>();
        registry_ =
            std::make_unique<StubRegistry>(config_.factories, std::move(generator), config_.tracer);
    });
    if (Failed(result)) return result;
    result = InitStep("initializing the processor of incoming messages",
                      [this] { incoming_ = std::make_unique<IncomingProcessor>(*this); });
    if (Failed(result)) return result;
    return InitStep("creating a generator of unique request numbers",
                    [this] { request_numbers_ = std::make_unique<std::atomic<std::uint64_t>>(0); });
}

void Connection::Attach(std::shared_ptr<remote::Transport> transport) noexcept {
    const std::lock_guard guard(lock_);
    if (ended_) return;  // it was lost before it could be attached
    transport_ = std::move(transport);
    attached_ = transport_.get();
    open_ = true;
}

bool Connection::IsOpen() const noexcept {
    const auto* const transport = this->transport();
    return open_ && transport != nullptr && transport->IsOpen();
}

std::uint32_t Connection::peer_process_id() const noexcept {
    const auto* const transport = this->transport();
    return transport != nullptr ? transport->peer_process_id() : 0;
}

void Connection::Close(result_t reason) noexcept {
    // The transport reports its end to OnTransportClosed.
    if (auto* const transport = this->transport()) transport->Close(reason);
    End();
}

void Connection::HandleRequest(remote::RpcProtocolProcessorIn& request,
                               remote::ReplySender& reply) noexcept {
    ++requests_served_;
    incoming_->Process(request, reply);
}

void Connection::OnTransportClosed(result_t reason) noexcept {
    End();
    if (!config_.on_closed) return;
    try {
        config_.on_closed(reason);
    } catch (...) {
        trace::WriteCurrentException(config_.tracer);
    }
}

void Connection::End() noexcept {
    bool unlock = false;
    {
        const std::lock_guard guard(lock_);
        ended_ = true;
        open_ = false;
        unlock = std::exchange(master_locked_, false);
    }
    if (registry_) registry_->Close();
    if (unlock) config_.master->Unlock();
}

result_t Connection::LockMasterObject() noexcept {
    {
        const std::lock_guard guard(lock_);
        if (ended_) return result::kRemoteCallFailed;
        if (master_locked_) return result::kOk;
    }
    const result_t result = config_.master->Lock();
    if (Failed(result)) return result;
    bool surplus;
    {
        const std::lock_guard guard(lock_);
        surplus = ended_ || master_locked_;
        if (!surplus) master_locked_ = true;
    }
    if (surplus) config_.master->Unlock();
    return result::kOk;
}

}  // namespace vek::remoting
