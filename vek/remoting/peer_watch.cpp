#include "vek/remoting/peer_watch.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "vek/core/border.h"
#include "vek/core/throw.h"
#include "vek/platform/system.h"
#include "vek/remoting/connection.h"

namespace vek::remoting {

namespace {

using std::chrono::milliseconds;

// How often it is looked for signs of life while a peer is not asked for one yet.
constexpr int kLooks = 5;

// Until a peer's end is tried again for which the system had no thread.
constexpr milliseconds kPauseWithoutThread{100};

}  // namespace

PeerWatch::Wait::Wait(Connection& connection) {
    const CallScope* const scope = CallScope::Current();
    if (scope == nullptr || !connection.config().watch) return;
    waited_ = connection.config().watch->Add(*scope, connection);
    watch_ = connection.config().watch.get();
}

PeerWatch::Wait::~Wait() {
    if (watch_ != nullptr) watch_->Remove(waited_);
}

const PeerWatch::Waited* PeerWatch::Add(const CallScope& scope, Connection& peer) {
    auto waited = std::make_unique<Waited>();
    waited->peer = peer.shared_from_this();
    waited->is_limited = scope.kind() == CallScope::Kind::kLimited;
    waited->signs = peer.signs_of_life();
    waited->last_sign = clock_.AwakeTime();
    waited->deadline = waited->last_sign + scope.left();

    const std::lock_guard guard(lock_);
    if (stopping_) ThrowResult(result::kRemoteCallFailed);
    if (!looking_) looking_ = platform::TheSystem().StartThread([this] { Look(); });
    if (!looking_) ThrowResult(result::kInsufficientResources);
    waits_.push_back(std::move(waited));
    changed_.notify_all();
    return waits_.back().get();
}

void PeerWatch::Remove(const Waited* waited) noexcept {
    std::unique_ptr<Waited> gone;  // perhaps the last that holds its peer
    const std::lock_guard guard(lock_);
    const auto found = std::ranges::find(waits_, waited, &std::unique_ptr<Waited>::get);
    gone = std::move(*found);
    waits_.erase(found);
}

void PeerWatch::Look() noexcept {
    std::unique_lock guard(lock_);
    while (!stopping_) {
        const milliseconds pause = LookAtPeers();
        if (waits_.empty()) {
            changed_.wait(guard);
        } else {
            changed_.wait_for(guard, std::clamp(pause, milliseconds{1}, milliseconds{60000}));
        }
    }
}

// With the lock. Ends the connections of silent peers, and gives when it is to be looked again, at
// the latest.
milliseconds PeerWatch::LookAtPeers() noexcept {
    const milliseconds now = clock_.AwakeTime();
    const milliseconds lose_after = hurried_ ? times_.lose_at_end : times_.lose_after;
    const milliseconds ask_after = hurried_ ? times_.lose_at_end / kLooks : times_.ask_after;
    milliseconds pause = milliseconds::max();
    for (const auto& wait : waits_) {
        if (wait->lost) continue;
        if (const std::uint64_t signs = wait->peer->signs_of_life(); signs != wait->signs) {
            wait->signs = signs;
            wait->last_sign = now;
        }
        const bool is_watched = !wait->is_limited || hurried_;
        milliseconds end = milliseconds::max();
        if (wait->is_limited) end = wait->deadline;
        if (is_watched) end = std::min(end, wait->last_sign + lose_after);
        if (now >= end) {
            wait->lost = Lose(wait->peer);
            if (!wait->lost) pause = std::min(pause, kPauseWithoutThread);
            continue;
        }
        pause = std::min(pause, end - now);
        if (!is_watched) continue;
        if (now - wait->last_sign >= ask_after) Ask(wait->peer);
        pause = std::min(pause, ask_after / kLooks);
    }
    return pause;
}

// Ends a peer's connection, on a thread of its own: what the end lets go may wait for the threads
// that own it. Nobody waits for the thread. False when there is none.
bool PeerWatch::Lose(const std::shared_ptr<Connection>& silent) noexcept {
    return Succeeded(AtBorder([&] {
        const auto thread = platform::StartCountedThread(platform::TheSystem(),
                                                         [silent] { silent->LoseSilentPeer(); });
        return thread ? result::kOk : result::kInsufficientResources;
    }));
}

// One at a time: whoever does not answer is lost before long, and the next has its turn.
void PeerWatch::Ask(const std::shared_ptr<Connection>& peer) noexcept {
    if (asked_) return;
    if (!asking_) {
        static_cast<void>(AtBorder([this] {
            asking_ = platform::StartCountedThread(
                platform::TheSystem(),
                [self = shared_from_this(), round = round_] { self->AskPeers(round); });
        }));
    }
    if (!asking_) return;
    asked_ = peer;
    changed_.notify_all();
}

void PeerWatch::AskPeers(std::uint32_t round) noexcept {
    std::unique_lock guard(lock_);
    while (round_ == round) {
        if (!asked_) {
            changed_.wait(guard);
            continue;
        }
        std::shared_ptr<Connection> peer = asked_;
        guard.unlock();
        peer->AskForSign();
        guard.lock();
        if (round_ == round) asked_.reset();
        guard.unlock();
        peer.reset();  // perhaps the last that held it
        guard.lock();
    }
}

void PeerWatch::Hasten() noexcept {
    const std::lock_guard guard(lock_);
    hurried_ = true;
    hurried_since_ = clock_.AwakeTime();
    for (const auto& wait : waits_) wait->last_sign = hurried_since_;
    changed_.notify_all();
}

bool PeerWatch::IsPatient(milliseconds begun) noexcept {
    const std::lock_guard guard(lock_);
    const milliseconds since = std::max(begun, hurried_since_);
    return !hurried_ || clock_.AwakeTime() < since + times_.lose_at_end;
}

// The thread that looks is waited for without end: it calls nobody and waits for nothing but a
// look.
void PeerWatch::Close() noexcept {
    std::shared_ptr<Connection> asked;
    std::unique_ptr<platform::Thread> looking;
    std::unique_ptr<platform::Thread> asking;
    {
        const std::lock_guard guard(lock_);
        stopping_ = true;
        ++round_;
        asked = std::move(asked_);
        looking = std::move(looking_);
        asking = std::move(asking_);
        changed_.notify_all();
    }
    if (asked) asked->Close(result::kRemoteCallFailed);
    if (looking) looking->Wait(platform::kInfinite);
    if (asking) asking->Wait(2 * times_.lose_at_end);
}

void PeerWatch::Stop() noexcept {
    Close();
    const std::lock_guard guard(lock_);
    stopping_ = false;
    hurried_ = false;
}

}  // namespace vek::remoting
