#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "remote/transport.h"
#include "vek/core/service_locator.h"
#include "vek/platform/lock.h"
#include "vek/remoting/call.h"
#include "vek/remoting/master_object.h"
#include "vek/remoting/protocol_features.h"
#include "vek/remoting/received_handles.h"
#include "vek/remoting/rope.h"
#include "vek/remoting/stub_registry.h"
#include "vek/trace/line.h"
#include "vek/trace/tracer.h"

namespace vek::remoting {

class IncomingProcessor;

struct ConnectionConfig {
    ProtocolFeatures features = kAllFeatures;  // what this end announces
    ProtocolFeatures required{};               // without these the peer is refused
    std::shared_ptr<const ProxyStubFactories> factories;
    // What this end offers; null for an end that offers nothing of itself.
    std::shared_ptr<MasterObject> master;
    // Called once when the connection has come to its end, on any thread.
    std::function<void(result_t reason)> on_closed;
    // Makes the numbers of stub handles; counted when empty.
    std::function<std::unique_ptr<SequenceGenerator>()> make_generator;
    trace::TracerPtr tracer;
};

class Connection;

// What came back from the peer; owns its bytes. When it goes, the kernel handles that came with it
// are closed and the stubs that the peer has let go are released: not before, since one of them may
// be what the reply gives.
struct Reply {
    Reply() = default;
    ~Reply();
    Reply(const Reply&) = delete;
    Reply& operator=(const Reply&) = delete;

    remote::RpcProtocolProcessorIn packet;
    ReceivedHandles handles{packet};
    bytes_t data;           // the reply data, in `packet`
    ReleasedList released;  // in `packet`
    Connection* connection = nullptr;
    bool delivered = true;  // false: the request certainly never reached the peer
};

// Joins this process to one other, so that each can call objects of the other. Made by Create, then
// given its transport. Operations may be called from any thread, several at once, and none raises.
//
// Its end, by Close or because the peer was lost, is final: calls fail with kRemoteCallFailed,
// every stub is released, and proxies stay safe to use and to release.
class Connection final : public remote::RequestHandler,
                         public std::enable_shared_from_this<Connection> {
    struct Key {};

public:
    static result_t Create(ConnectionConfig config,
                           std::shared_ptr<Connection>& connection) noexcept;
    Connection(Key, ConnectionConfig config);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Once, before the first call.
    void Attach(std::shared_ptr<remote::Transport> transport) noexcept;

    // Agrees the effective features, once; later calls compare and trace. kInvalidVersion for a
    // peer that cannot be worked with.
    result_t SynchronizeWithPeerFeatures(const ProtocolFeatures& peer) noexcept;
    bool features_synchronized() const noexcept;
    // All off until they are synchronized.
    ProtocolFeatures effective_features() const noexcept;

    // The client's first call: agrees the features and gives the peer's service locator, with a
    // reference. Closes the connection when the peer is incompatible.
    result_t GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept;
    // The same, giving the locator's place instead of a proxy.
    result_t GetServiceLocatorHandle(stub_handle_t& handle) noexcept;

    // Sends a request and waits for its reply. The nodes must stay as they are meanwhile. The code
    // says whether the request was served; what the object answered is in the reply.
    result_t SendReceive(const CallTarget& target, const Rope& request, Reply& reply) noexcept;
    // The same for calls of proxies, which carry no kernel handles.
    result_t DoSendReceiveWithRopes(const CallTarget& target, const Rope& request,
                                    Reply& reply) noexcept;

    // Gives back the stub behind a proxy, without a call for it: with what this thread sends next
    // while it serves the peer, otherwise with what this end sends next. Does not wait.
    void ReleaseProxy(stub_handle_t handle) noexcept;
    // Lets handles go with what this end sends next. Those that there is no memory for stay with
    // the peer until the connection ends.
    void ReleaseLater(std::span<const stub_handle_t> handles) noexcept;
    // Those that wait, which are then forgotten.
    released_t TakeReleased() noexcept;

    void Close(result_t reason) noexcept;
    bool IsOpen() const noexcept;
    std::uint32_t peer_process_id() const noexcept;

    StubRegistry& registry() noexcept { return *registry_; }
    const trace::TracerPtr& tracer() const noexcept { return config_.tracer; }
    const ConnectionConfig& config() const noexcept { return config_; }

    // Counts the calls to the peer that may change what it would answer to others, twice each: when
    // it starts and when it has ended. What was read while the number stood still is still so.
    std::uint64_t change_count() const noexcept { return change_count_; }

    // Releases stubs that the peer no longer uses. kInvalidSize for more of them than there can be.
    result_t ReleaseStubs(const ReleasedList& released) noexcept;

    // How many requests were sent, and how many were served.
    std::uint64_t requests_sent() const noexcept { return *request_numbers_; }
    std::uint64_t requests_served() const noexcept { return requests_served_; }

    // Keeps the master object locked until the connection ends.
    result_t LockMasterObject() noexcept;
    // How often the peer has asked for the service locator, this time included.
    std::uint32_t CountLocatorRequest() noexcept { return ++locator_requests_; }

    // remote::RequestHandler
    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override;
    void OnTransportClosed(result_t reason) noexcept override;

private:
    result_t Init() noexcept;
    result_t AskForServiceLocator(stub_handle_t& handle);
    template <class Step>
    result_t InitStep(const char* failure, Step step) noexcept;

    struct SendTexts;
    result_t Exchange(const SendTexts& texts, const CallTarget& target, const Rope& request,
                      Reply& reply) noexcept;
    result_t DoExchange(const SendTexts& texts, const CallTarget& target, const Rope& request,
                        Reply& reply);
    result_t Transmit(remote::RpcProtocolProcessorOut& packet, const Rope& request, Reply& reply);
    std::uint32_t NextCallId() noexcept;
    // Null before it is attached; once there it stays as long as the connection.
    remote::Transport* transport() const noexcept { return attached_; }
    void End() noexcept;

    const ConnectionConfig config_;
    std::unique_ptr<StubRegistry> registry_;
    std::unique_ptr<IncomingProcessor> incoming_;
    std::unique_ptr<std::atomic<std::uint64_t>> request_numbers_;

    mutable platform::RecursiveLock lock_;  // guards what follows
    std::shared_ptr<remote::Transport> transport_;
    ProtocolFeatures effective_{};
    bool master_locked_ = false;
    bool ended_ = false;
    released_t released_;  // proxies' handles that wait for something to be sent

    std::atomic<remote::Transport*> attached_{nullptr};  // transport_, to be read without the lock
    std::atomic<bool> synchronized_{false};
    std::atomic<bool> open_{false};
    std::atomic<std::uint32_t> locator_requests_{0};
    std::atomic<std::uint64_t> change_count_{0};
    std::atomic<std::uint64_t> requests_served_{0};
};

// The connection as trace lines name it.
inline trace::Hex NameOf(const Connection* connection) noexcept {
    return trace::Hex(reinterpret_cast<std::uintptr_t>(connection));
}

}  // namespace vek::remoting
