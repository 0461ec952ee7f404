#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <vector>

#include "vek/platform/clock.h"
#include "vek/platform/lock.h"
#include "vek/platform/thread.h"
#include "vek/remoting/call_wait.h"

namespace vek::remoting {

class Connection;

// When a peer counts as silent. Whatever arrives from it is a sign of life.
struct PeerWatchTimes {
    std::chrono::milliseconds ask_after{5000};    // it is asked for a sign, if a call is watched
    std::chrono::milliseconds lose_after{20000};  // its connection ends
    // The same once the end has been announced: then limited calls are watched, too.
    std::chrono::milliseconds lose_at_end{500};
};

// Sees to it that nobody waits for a silent peer: ends the connection when the time of a limited
// call is over, or when the peer of a watched one (call_wait.h) shows no sign of life for too long.
// A connection that is ended so has kRemoteCallFailed for its reason, and was_silent().
//
// Has up to two threads while it is used: one looks, the other asks peers, by a call that every
// peer answers, and waits for them. Time in which the machine sleeps does not count. Any thread may
// call the operations, except that Stop and Close are for one at a time. A shared object:
// whoever has made it closes it, so that it is not one of its own threads that waits for itself.
class PeerWatch : public std::enable_shared_from_this<PeerWatch> {
public:
    // `clock` outlives the watch.
    explicit PeerWatch(PeerWatchTimes times = {},
                       platform::Clock& clock = platform::TheClock()) noexcept
        : times_(times), clock_(clock) {}
    // As Close.
    ~PeerWatch() { Close(); }
    PeerWatch(const PeerWatch&) = delete;
    PeerWatch& operator=(const PeerWatch&) = delete;

    // The end is announced: what waits, and will wait, is patient for lose_at_end alone.
    void Hasten() noexcept;

    // Whether a peer is to be waited for still that is not connected yet and not heard of since
    // `begun`, an awake time: false lose_at_end after the end was announced.
    bool IsPatient(std::chrono::milliseconds begun) noexcept;

    // Ends its threads and the hurry. Calls that are to be watched fail meanwhile, and may be made
    // again afterwards. A thread that asks a peer by a call which the system does not give up is
    // waited for twice lose_at_end, and ends by itself.
    void Stop() noexcept;
    // As Stop, for good.
    void Close() noexcept;

private:
    using milliseconds = std::chrono::milliseconds;

    // One that is waited for. Not on the caller's stack, which goes with a thread that is ended by
    // force.
    struct Waited {
        std::shared_ptr<Connection> peer;
        bool is_limited = false;
        milliseconds deadline{};   // of a limited one
        milliseconds last_sign{};  // or the wait's begin
        std::uint64_t signs = 0;   // that have been seen
        bool lost = false;
    };

public:
    // One call's wait for its reply. Does nothing for one without limit, and on a connection
    // without a watch.
    class Wait {
    public:
        // Raises CheckResultFailedException or std::bad_alloc when it cannot be watched.
        explicit Wait(Connection& connection);
        ~Wait();
        Wait(const Wait&) = delete;
        Wait& operator=(const Wait&) = delete;

    private:
        PeerWatch* watch_ = nullptr;
        const Waited* waited_ = nullptr;
    };

private:
    const Waited* Add(const CallScope& scope, Connection& peer);
    void Remove(const Waited* waited) noexcept;
    void Look() noexcept;
    milliseconds LookAtPeers() noexcept;
    static bool Lose(const std::shared_ptr<Connection>& silent) noexcept;
    void Ask(const std::shared_ptr<Connection>& peer) noexcept;
    void AskPeers(std::uint32_t round) noexcept;

    const PeerWatchTimes times_;
    platform::Clock& clock_;

    platform::Lock lock_;  // guards what follows
    std::condition_variable_any changed_;
    std::vector<std::unique_ptr<Waited>> waits_;
    std::shared_ptr<Connection> asked_;  // who is being asked, or is to be
    bool hurried_ = false;
    milliseconds hurried_since_{};
    bool stopping_ = false;
    std::uint32_t round_ = 0;  // counts the ends; who asks belongs to one
    std::unique_ptr<platform::Thread> looking_;
    std::unique_ptr<platform::Thread> asking_;
};

}  // namespace vek::remoting
