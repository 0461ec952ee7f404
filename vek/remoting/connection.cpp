#include "vek/remoting/connection.h"

#include "vek/core/border.h"
#include "vek/remoting/call_frame.h"
#include "vek/remoting/incoming_processor.h"
#include "vek/remoting/marshalling.h"
#include "vek/remoting/service_calls.h"
#include "vek/trace/line.h"
#include "vek/trace/repeat_limiter.h"

namespace vek::remoting {

using trace::Address;
using trace::Hex;

namespace {

ConnectionConfig WithOwnTracer(ConnectionConfig config) {
    config.tracer = trace::LimitRepeats(std::move(config.tracer));
    return config;
}

}  // namespace

result_t Connection::Create(ConnectionConfig config,
                            std::shared_ptr<Connection>& connection) noexcept {
    return AtBorder([&] {
        auto made = std::make_shared<Connection>(Key{}, std::move(config));
        const result_t result = made->Init();
        if (Succeeded(result)) connection = std::move(made);
        return result;
    });
}

Connection::Connection(Key, ConnectionConfig config)
    : config_(WithOwnTracer(std::move(config))),
      releases_(config_.tracer),
      master_lock_(config_.master) {}

Connection::~Connection() { Close(result::kOk); }

template <class Step>
result_t Connection::InitStep(const char* failure, Step step) noexcept {
    const result_t result = AtBorder(step);
    if (Failed(result)) {
        trace::Write(config_.tracer, trace::level::kError, "VEK remoting: Error ", failure,
                     " in Connection(0x", Address(this), " )::Init(). res = ", Hex(result));
    }
    return result;
}

result_t Connection::Init() noexcept {
    result_t result = InitStep("creating a stub registry", [this] {
        auto generator = config_.make_generator ? config_.make_generator()
                                                : std::make_unique<CountingGenerator>();
        registry_ =
            std::make_unique<StubRegistry>(config_.factories, std::move(generator), config_.tracer);
        features_ = std::make_unique<FeatureAgreement>(config_.features, config_.required,
                                                       *registry_, NameOf(this), config_.tracer);
    });
    if (Failed(result)) return result;
    result = InitStep("initializing the processor of incoming messages",
                      [this] { incoming_ = std::make_unique<IncomingProcessor>(*this); });
    if (Failed(result)) return result;
    return InitStep("creating a generator of unique request numbers", [this] {
        sender_ = std::make_unique<CallSender>(*this, transport_, releases_, *registry_, *features_,
                                               config_.tracer);
    });
}

void Connection::Attach(std::shared_ptr<remote::Transport> transport) noexcept {
    transport_.Attach(std::move(transport));
}

result_t Connection::GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept {
    stub_handle_t given = kNoHandle;
    result_t result = AtBorder([&] { return RequestServiceLocator(*this, given); });
    if (Failed(result)) return result;
    result = AtBorder([&] {
        IncomingHandle handle(*this);
        handle.Set(given);
        auto object = std::make_shared<StubReference>(StubAddress{shared_from_this(), given});
        handle.Take();
        return registry_->CreateProxy(IServiceLocator::kInterfaceId, std::move(object),
                                      locator.put_void());
    });
    if (Failed(result)) {
        trace::Write(config_.tracer, trace::level::kError,
                     "VEK remoting: GetServiceLocator: Cannot create a proxy for IServiceLocator, "
                     "err = ",
                     Hex(result));
    }
    return result;
}

void Connection::ReleaseProxy(stub_handle_t handle) noexcept {
    if (!registry_->MayReleaseProxy(handle) || transport_.get() == nullptr) return;
    CallFrame* const frame = CallFrame::Current(releases_);
    if (frame == nullptr || !frame->Release(handle)) releases_.Add({&handle, 1});
}

void Connection::Close(result_t reason) noexcept {
    // The transport reports its end to OnTransportClosed.
    transport_.Close(reason);
    End();
}

void Connection::AskForSign() noexcept {
    const CallTarget target{kNoHandle, 0, service_call::kSignOfLife, method_attribute::kNone};
    Rope none;
    Reply reply;
    static_cast<void>(sender_->SendReceive(target, none, reply));
}

void Connection::LoseSilentPeer() noexcept {
    was_silent_ = true;
    trace::Write(config_.tracer, trace::level::kWarning, "VEK remoting: ORPC Connection(",
                 NameOf(this), ") will be closed because its peer does not answer");
    Close(result::kRemoteCallFailed);
}

std::uint64_t Connection::requests_served() const noexcept { return incoming_->requests_served(); }

std::uint64_t Connection::signs_of_life() const noexcept {
    return replies_received_ + requests_served();
}

void Connection::HandleRequest(remote::RpcProtocolProcessorIn& request,
                               remote::ReplySender& reply) noexcept {
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
    transport_.End();
    releases_.Close();
    if (features_) features_->End();
    if (registry_) registry_->Close();
    master_lock_.End();
}

}  // namespace vek::remoting
