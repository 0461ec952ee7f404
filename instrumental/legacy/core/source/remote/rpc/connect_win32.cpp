#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>

#include "remote/establish.h"
#include "remote/process_event.h"
#include "remote/rpc/connection_win32.h"
#include "remote/rpc/raw_call_win32.h"
#include "vek/core/border.h"
#include "vek/platform/system.h"
#include "vek/trace/line.h"

namespace remote {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

using clock_t = std::chrono::steady_clock;

// Whether to give up.
constexpr std::chrono::milliseconds kBetweenQuestions{50};

std::chrono::milliseconds TimeLeft(clock_t::time_point deadline) {
    return std::max(std::chrono::ceil<std::chrono::milliseconds>(deadline - clock_t::now()),
                    std::chrono::milliseconds{0});
}

// Waits until the process that is to be reached says that it can be. False when it is not known, or
// takes too long.
bool AwaitPeer(const TransportConfig& config, clock_t::time_point deadline) {
    std::unique_ptr<vek::platform::Event> event;
    if (config.peer_process == 0 ||
        vek::Failed(OpenProcessEvent(config.peer_process, EventNamespaceOf(config), config.tracer,
                                     event))) {
        return false;
    }
    auto* const reachable = event.get();
    for (;;) {
        const auto left = TimeLeft(deadline);
        if (left.count() == 0 || (config.gives_up && config.gives_up())) return false;
        const auto waited =
            vek::platform::TheSystem().WaitAny({&reachable, 1}, std::min(left, kBetweenQuestions));
        if (waited.status != vek::platform::WaitStatus::kTimeout) {
            return waited.status == vek::platform::WaitStatus::kSignalled;
        }
    }
}

// Asks the peer to take this end in. It confirms itself to the connection meanwhile.
vek::result_t Introduce(RPC_BINDING_HANDLE binding, const Endpoint& endpoint, const Endpoint& own,
                        RpcConnection& connection, const TransportConfig& config,
                        clock_t::time_point deadline, std::uint64_t& token) {
    wire::ConnectReply reply{};
    RPC_STATUS status = RPC_S_OK;
    {
        const CallTimeout timeout(std::max(TimeLeft(deadline), std::chrono::milliseconds{1}));
        status = CallPeer(binding, Operation::kConnect,
                          wire::ConnectRequest{endpoint.local_id, endpoint.tcp_port, own.local_id,
                                               own.tcp_port, connection.token()},
                          reply);
    }
    if (status == RPC_S_OK) {
        connection.SetLink(TakeLink(binding, reply.link));
        token = reply.token;
        return reply.verdict;
    }
    trace::Write(config.tracer, trace::level::kRemoting, "rmt\tCannot reach ", TextOf(endpoint),
                 ", status = ", static_cast<std::uint32_t>(status));
    const auto code = ResultOf(status);
    return code == result::kRemoteCallFailed ? result::kNotReady : code;
}

vek::result_t Reach(const Endpoint& endpoint, const TransportConfig& config,
                    clock_t::time_point deadline, std::shared_ptr<PeerTransport>& transport) {
    RpcBinding binding;
    if (const auto status = RpcBinding::To(endpoint, binding); status != RPC_S_OK) {
        return ResultOf(status);
    }
    // Nothing is opened for a peer that the system cannot tell from others.
    if (TheIdentitySource().RequireServer(binding.get(), endpoint, WantedAccount(config)) !=
        RPC_S_OK) {
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tCannot be sure of ",
                     TextOf(endpoint));
        return result::kAccessDenied;
    }
    const auto connection = RpcConnection::Create(config);
    // Lets the connection go when it does not come about, so that nothing waits for it to be open.
    transport = std::make_shared<PeerTransport>(connection);
    Endpoint own;
    if (const auto code = RpcServer::Get().OpenOwn(endpoint, own); vek::Failed(code)) return code;
    std::uint64_t token = 0;
    const RPC_BINDING_HANDLE handle = binding.get();
    auto code = Introduce(handle, endpoint, own, *connection, config, deadline, token);
    if (code == result::kNotReady && AwaitPeer(config, deadline)) {
        code = Introduce(handle, endpoint, own, *connection, config, deadline, token);
    }
    if (vek::Failed(code)) return code;
    if (!connection->IsConfirmed()) return result::kAccessDenied;
    connection->SetPeer(std::move(binding), token);
    return result::kOk;
}

// What a thread makes for another, which may have gone.
struct Attempt {
    std::unique_ptr<vek::platform::Event> ended;
    // Before the end the thread's alone.
    vek::result_t code = result::kOk;
    std::shared_ptr<PeerTransport> transport;
};

// False when the time is over, or is given up.
bool AwaitEnd(const Attempt& attempt, const TransportConfig& config, clock_t::time_point deadline) {
    // For the runtime to cancel its call by itself.
    constexpr std::chrono::milliseconds kGrace{100};
    auto* const ended = attempt.ended.get();
    for (;;) {
        const auto left = TimeLeft(deadline + kGrace);
        const auto waited =
            vek::platform::TheSystem().WaitAny({&ended, 1}, std::min(left, kBetweenQuestions));
        if (waited.status == vek::platform::WaitStatus::kSignalled) return true;
        if (left.count() == 0 || waited.status == vek::platform::WaitStatus::kFailed ||
            (config.gives_up && config.gives_up()))
            return false;
    }
}

}  // namespace

// On another thread: a runtime may not come back from a call that is cancelled. Wine waits then
// until a peer that stands still has read what was sent to it. That thread ends by itself, and the
// connection that it makes too late goes with it.
vek::result_t ConnectToPeer(const Endpoint& endpoint, const TransportConfig& config,
                            std::shared_ptr<PeerTransport>& transport) {
    const auto deadline = clock_t::now() + config.connect_timeout;
    const auto attempt = std::make_shared<Attempt>();
    auto& system = vek::platform::TheSystem();
    attempt->ended = system.NewEvent(vek::platform::EventKind::kManualReset);
    if (!attempt->ended) return result::kInsufficientResources;
    TransportConfig theirs = config;
    // Apart from the attempt, whose connection keeps the configuration.
    const auto is_given_up = std::make_shared<std::atomic<bool>>(false);
    theirs.gives_up = [is_given_up]() -> bool { return *is_given_up; };
    const auto thread = vek::platform::StartCountedThread(
        system, [attempt, endpoint, config = std::move(theirs), deadline] {
            attempt->code = vek::AtBorder(
                [&] { return Reach(endpoint, config, deadline, attempt->transport); });
            attempt->ended->Set();
        });
    if (!thread) return result::kInsufficientResources;
    if (!AwaitEnd(*attempt, config, deadline)) {
        *is_given_up = true;
        trace::Write(config.tracer, trace::level::kRemoting, "rmt\tCannot reach ", TextOf(endpoint),
                     " in time");
        return result::kNotReady;
    }
    transport = std::move(attempt->transport);
    return attempt->code;
}

}  // namespace remote
