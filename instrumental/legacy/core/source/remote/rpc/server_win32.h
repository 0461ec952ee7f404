#pragma once

// The RPC server of this process, one for all listeners and connections. The interface is
// registered as long as one of them needs it, and the module stays loaded as long as the runtime
// may call it. The RPC runtime keeps an endpoint that was used once until the process ends; a
// module that is loaded again uses it again.

#include <rpc.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "remote/endpoint.h"
#include "remote/establish.h"
#include "vek/core/result.h"
#include "vek/platform/lock.h"
#include "vek/platform/module_win32.h"
#include "vek/platform/thread.h"

namespace remote {

class RpcConnection;

// The interface that this process serves, with its operations (serve_win32.cpp).
RPC_IF_HANDLE ServedInterface() noexcept;

// Operations may be called from any thread.
class RpcServer {
public:
    // Keeps the interface registered.
    class Use {
    public:
        // For the peers of `config`. Raises vek::SystemException when the runtime refuses.
        explicit Use(const TransportConfig& config);
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
    };

    // While one lives, the runtime runs code of this module's: a call, or a client's rundown to
    // come.
    class Busy {
    public:
        Busy() noexcept { ++Get().busy_; }
        ~Busy() { --Get().busy_; }
        Busy(const Busy&) = delete;
        Busy& operator=(const Busy&) = delete;
    };

    static RpcServer& Get() noexcept;

    // A client that is to be run down was taken in, or was run down.
    void AddLink() noexcept { ++busy_; }
    void RemoveLink() noexcept { --busy_; }

    // Whether the runtime calls nothing of this module's any more, within `timeout`. False while
    // there is a connection or a listener. Not on a thread of the runtime's.
    bool AwaitUnregistered(std::chrono::milliseconds timeout) noexcept;

    // Makes this process reachable at `endpoint`; at a port that the system chooses when it has
    // neither number. Nothing to do when it is already. The interface is registered meanwhile, and
    // whoever may call it now may reach a local endpoint, for as long as this process lives.
    vek::result_t Open(Endpoint& endpoint);
    // Where peers that are reached over the protocol of `peer` can reach this process. Nobody knows
    // the local id beforehand.
    vek::result_t OpenOwn(const Endpoint& peer, Endpoint& own);

    // False when there is a listener at `endpoint`.
    bool AddListener(const Endpoint& endpoint, std::shared_ptr<AcceptGate> gate);
    // Whether it was the last.
    bool RemoveListener(const Endpoint& endpoint) noexcept;
    std::shared_ptr<AcceptGate> ListenerAt(const std::string& endpoint) noexcept;

    // Gives the number that the peer calls under; none else can guess it.
    std::uint64_t AddConnection(const std::shared_ptr<RpcConnection>& connection);
    void RemoveConnection(std::uint64_t token) noexcept;
    std::shared_ptr<RpcConnection> ConnectionOf(std::uint64_t token) noexcept;

private:
    // An endpoint, and whom it lets in.
    struct Opened {
        std::set<std::string> accounts;
        bool serves = false;  // calls are known to arrive there
    };

    vek::result_t OpenAnyPort(Endpoint& endpoint);
    std::set<std::string> Accounts();
    // True for one that an earlier load of this module has opened: of that nothing is known.
    bool IsOpenFor(const Endpoint& endpoint, const std::set<std::string>& accounts);

    void StartUnregistering() noexcept;
    void UnregisterUnused() noexcept;

    std::atomic<int> busy_{0};

    // Held while the runtime is told, which may last; taken before use_lock_. Guards accounts_, and
    // keeps uses_ from rising and registered_ from changing.
    vek::platform::Lock registering_;
    std::set<std::string> accounts_;  // who may call, as text SIDs; "IU" is INTERACTIVE

    vek::platform::Lock use_lock_;  // guards what follows
    std::uint32_t uses_ = 0;
    bool registered_ = false;
    vek::platform::ModuleHold hold_;  // while registered, and until it is not busy
    bool is_unregistering_ = false;
    std::unique_ptr<vek::platform::Thread> unregistering_;

    vek::platform::Lock own_lock_;
    Endpoint own_;  // empty until it is opened

    vek::platform::Lock lock_;
    std::map<std::string, Opened> opened_;
    std::map<std::string, std::shared_ptr<AcceptGate>> listeners_;
    std::map<std::uint64_t, std::weak_ptr<RpcConnection>> connections_;

    static const vek::platform::UnloadStep forget_;
};

}  // namespace remote
