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

}  // namespace

PeerWatch::Wait::Wait(Connection& connection) {
    const CallScope* const scope = CallScope::Current();
    if (scope == nullptr || !connection.config().watch) return;
    connection.config().watch->Add(*this, *scope, connection);
    watch_ = connection.config().watch.get();
}

PeerWatch::Wait::~Wait() {
    if (watch_ != nullptr) watch_->Remove(*this);
}

void PeerWatch::Add(Wait& wait, const CallScope& scope, Connection& peer) {
    wait.peer_ = peer.shared_from_this();
    wait.is_limited_ = scope.kind() == CallScope::Kind::kLimited;
    wait.signs_ = peer.signs_of_life();
    wait.last_sign_ = clock_.AwakeTime();
    wait.deadline_ = wait.last_sign_ + scope.left();

    const std::lock_guard guard(lock_);
    if (stopping_) ThrowResult(result::kRemoteCallFailed);
    if (!looking_) looking_ = platform::TheSystem().StartThread([this] { Look(); });
    if (!looking_) ThrowResult(result::kInsufficientResources);
    waits_.push_back(&wait);
    changed_.notify_all();
}

void PeerWatch::Remove(Wait& wait) noexcept {
    const std::lock_guard guard(lock_);
    std::erase(waits_, &wait);
}

void PeerWatch::Look() noexcept {
    std::unique_lock guard(lock_);
    while (!stopping_) {
        milliseconds pause = milliseconds::max();
        if (auto silent = FindSilent(pause)) {
            guard.unlock();
            silent->LoseSilentPeer();
            silent.reset();
            guard.lock();
        } else if (waits_.empty()) {
            changed_.wait(guard);
        } else {
            changed_.wait_for(guard, std::clamp(pause, milliseconds{1}, milliseconds{60000}));
        }
    }
}

// Gives a peer whose connection is to end; null when there is none: then it is to be looked again
// after `pause`, at the latest.
std::shared_ptr<Connection> PeerWatch::FindSilent(milliseconds& pause) {
    const milliseconds now = clock_.AwakeTime();
    const milliseconds lose_after = hurried_ ? times_.lose_at_end : times_.lose_after;
    const milliseconds ask_after = hurried_ ? times_.lose_at_end / kLooks : times_.ask_after;
    for (Wait* const wait : waits_) {
        if (wait->lost_) continue;
        if (const std::uint64_t signs = wait->peer_->signs_of_life(); signs != wait->signs_) {
            wait->signs_ = signs;
            wait->last_sign_ = now;
        }
        const bool is_watched = !wait->is_limited_ || hurried_;
        milliseconds end = milliseconds::max();
        if (wait->is_limited_) end = wait->deadline_;
        if (is_watched) end = std::min(end, wait->last_sign_ + lose_after);
        if (now >= end) {
            wait->lost_ = true;
            return wait->peer_;
        }
        pause = std::min(pause, end - now);
        if (!is_watched) continue;
        if (now - wait->last_sign_ >= ask_after) Ask(wait->peer_);
        pause = std::min(pause, ask_after / kLooks);
    }
    return nullptr;
}

// One at a time: whoever does not answer is lost before long, and the next has its turn.
void PeerWatch::Ask(const std::shared_ptr<Connection>& peer) noexcept {
    if (asked_) return;
    if (!asking_) {
        static_cast<void>(AtBorder([this] {
            asking_ = platform::TheSystem().StartThread(
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
    for (Wait* const wait : waits_) wait->last_sign_ = hurried_since_;
    changed_.notify_all();
}

bool PeerWatch::IsPatient(milliseconds begun) noexcept {
    const std::lock_guard guard(lock_);
    const milliseconds since = std::max(begun, hurried_since_);
    return !hurried_ || clock_.AwakeTime() < since + times_.lose_at_end;
}

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
