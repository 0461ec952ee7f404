#include "common/common/registry_watcher.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "vek/core/text.h"
#include "vek/core/throw.h"
#include "vek/trace/traced_border.h"

namespace plugins::common {
namespace {

namespace platform = vek::platform;
namespace system_error = vek::platform::system_error;
namespace trace = vek::trace;
using helpers::RegistryKey;
using helpers::RegistryKeyPath;
using platform::Event;
using platform::EventKind;

constexpr std::chrono::milliseconds kNoWait{0};

void CheckSet(Event& event, vek::SourceLocation location = vek::SourceLocation::Here()) {
    const platform::system_error_t error = event.Set();
    if (error != system_error::kNone) vek::CheckResult(platform::ResultOf(error), location);
}

// Whether who subscribes to the one is told of the other.
bool AreEqual(const RegistryKeyPath& a, const RegistryKeyPath& b) {
    return a.root == b.root && a.path == b.path;
}

void AppendTo(std::string& text, std::string_view part) {
    text.append(std::to_string(part.size())).append(" ").append(part);
}

}  // namespace

// A notification that stands. It belongs to the watch thread.
struct RegistryWatcher::Armed {
    std::unique_ptr<Event> event;
    RegistryKey key;  // its end signals the event, which goes after it
};

struct RegistryWatcher::Subscription {
    const RegistryKeyPath key;
    RegistrySubscriberPtr subscriber;  // null once it has left
    std::string content;               // of the key, when it was last seen not armed
    std::unique_ptr<Armed> armed = nullptr;
};

RegistryWatcher::RegistryWatcher(trace::TracerPtr tracer, helpers::Registry& registry,
                                 platform::System& system)
    : tracer_(std::move(tracer)),
      registry_(registry),
      system_(system),
      m_stopEvent(NewEvent(EventKind::kManualReset)),
      wake_event_(NewEvent(EventKind::kAutoReset)) {
    trace::Write(tracer_, trace::level::kDetail, "RegistryWatcher created");
}

std::unique_ptr<Event> RegistryWatcher::NewEvent(EventKind kind) const {
    auto event = system_.NewEvent(kind);
    if (event == nullptr) vek::ThrowSystem(platform::ResultOf(platform::LastError()));
    return event;
}

void RegistryWatcher::Subscribe(const RegistryKeyPath& key, RegistrySubscriberPtr subscriber) {
    trace::Write(tracer_, trace::level::kDetail, "RegistryWatcher: subscribing 0x",
                 trace::Address(subscriber.get()), " to ", key);
    // The key is armed later, on the watch thread, and changes count from now.
    auto subscription = std::make_shared<Subscription>(
        Subscription{.key = key, .subscriber = std::move(subscriber), .content = ContentOf(key)});
    {
        const std::lock_guard guard(lock_);
        subscriptions_.push_back(std::move(subscription));
    }
    CheckSet(*wake_event_);
}

void RegistryWatcher::Unsubscribe(IRegistrySubscriber* subscriber) {
    trace::Write(tracer_, trace::level::kDetail, "RegistryWatcher: unsubscribing 0x",
                 trace::Address(subscriber));
    std::vector<RegistrySubscriberPtr> left;  // go after the lock
    {
        const std::lock_guard guard(lock_);
        std::erase_if(subscriptions_, [&](const SubscriptionPtr& one) {
            if (one->subscriber.get() != subscriber) return false;
            // The watch thread waits for its event meanwhile, and keeps the rest of it.
            left.push_back(std::exchange(one->subscriber, nullptr));
            return true;
        });
    }
    CheckSet(*wake_event_);
}

void RegistryWatcher::LookAgain() { CheckSet(*wake_event_); }

vek::result_t RegistryWatcher::Stop() noexcept {
    const platform::system_error_t error = m_stopEvent->Set();
    if (error == system_error::kNone) return vek::result::kOk;
    const vek::result_t code = platform::ResultOf(error);
    trace::WriteFailedStatement(tracer_, "m_stopEvent.Set(), VEK_SUCCEEDED(_result)", code);
    return code;
}

void RegistryWatcher::Run() {
    const struct Disarmer {
        RegistryWatcher& watcher;
        ~Disarmer() { watcher.Disarm(); }
    } disarmer{*this};
    for (;;) {
        const std::vector<SubscriptionPtr> armed = ArmAll();
        std::vector<Event*> events{m_stopEvent.get(), wake_event_.get()};
        for (const SubscriptionPtr& one : armed) events.push_back(one->armed->event.get());
        const platform::WaitResult ended = system_.WaitAny(events, platform::kInfinite);
        vek::Check(ended.status == platform::WaitStatus::kSignalled);
        if (ended.index == 0) return;
        if (ended.index >= 2) Serve(armed[ended.index - 2]->key);
    }
}

// Arms every subscription anew, and tells of what happened before. Gives those that are armed.
std::vector<RegistryWatcher::SubscriptionPtr> RegistryWatcher::ArmAll() {
    const std::lock_guard guard(lock_);
    const auto is_armed = [](const SubscriptionPtr& one) { return one->armed != nullptr; };
    auto room =
        kMaxWatched - static_cast<std::size_t>(std::ranges::count_if(subscriptions_, is_armed));
    std::size_t unwatched = 0;
    std::vector<SubscriptionPtr> armed;
    std::vector<RegistryKeyPath> changed;
    for (const SubscriptionPtr& one : subscriptions_) {
        if (one->armed) ++room;
        if (room == 0) {
            ++unwatched;
            continue;
        }
        const auto is_this = [&](const RegistryKeyPath& key) { return AreEqual(key, one->key); };
        if (ArmAnew(*one) && std::ranges::none_of(changed, is_this)) changed.push_back(one->key);
        if (!one->armed) continue;
        --room;
        armed.push_back(one);
    }
    if (std::exchange(unwatched_, unwatched) != unwatched) {
        trace::Write(tracer_, trace::level::kWarning, "RegistryWatcher: ", unwatched,
                     " keys are not watched, beyond ", kMaxWatched);
    }
    for (const RegistryKeyPath& key : changed) Tell(key);
    return armed;
}

// Tells of a change that has been seen, when whatever follows it will be seen, too.
void RegistryWatcher::Serve(const RegistryKeyPath& key) {
    const std::lock_guard guard(lock_);
    for (const SubscriptionPtr& one : subscriptions_)
        if (one->armed && AreEqual(one->key, key)) ArmAnew(*one);
    Tell(key);
}

void RegistryWatcher::Tell(const RegistryKeyPath& key) {
    trace::Write(tracer_, trace::level::kDetail, "RegistryWatcher: notifying about changed ", key);
    const auto subscriptions = subscriptions_;  // which the subscribers may change
    for (const SubscriptionPtr& one : subscriptions) {
        if (!one->subscriber || !AreEqual(one->key, key)) continue;
        const RegistrySubscriberPtr subscriber = one->subscriber;
        trace::TracedBorder(tracer_, [&] { subscriber->changed(key); });
    }
}

// Arms a subscription anew, if its key is there. Gives whether the key has changed, as far as the
// new notification does not tell.
bool RegistryWatcher::ArmAnew(Subscription& subscription) const {
    const std::unique_ptr<Armed> old = std::exchange(subscription.armed, nullptr);
    subscription.armed = Arm(subscription.key);
    if (old && subscription.armed) return HasFired(*old);
    std::string content = ContentOf(subscription.key);
    const bool has_other = content != std::exchange(subscription.content, content);
    return old || has_other;
}

// Null when the key is missing or cannot be opened.
std::unique_ptr<RegistryWatcher::Armed> RegistryWatcher::Arm(const RegistryKeyPath& path) const {
    auto event = NewEvent(EventKind::kAutoReset);
    std::optional<RegistryKey> key;
    try {
        key = RegistryKey::OpenForNotification(path, registry_);
    } catch (const vek::CheckFailedException&) {  // looked at again in the next pass
    }
    if (!key) return nullptr;
    const platform::system_error_t error = key->Notify(*event);
    // Deleted since it was opened.
    if (error == system_error::kFileNotFound || error == system_error::kKeyDeleted) return nullptr;
    vek::Check(error == system_error::kNone);
    return std::unique_ptr<Armed>(new Armed{std::move(event), std::move(*key)});
}

// Asked of a notification that another has followed: a change before that, or the key's deletion,
// of which not every system tells.
bool RegistryWatcher::HasFired(const Armed& armed) const {
    Event* const event = armed.event.get();
    return system_.WaitAny({&event, 1}, kNoWait).status == platform::WaitStatus::kSignalled ||
           armed.key.Notify(*event) == system_error::kKeyDeleted;
}

// All values of a key and below it; empty without a key, or when it cannot be read.
std::string RegistryWatcher::ContentOf(const RegistryKeyPath& path) const {
    std::string content;
    try {
        const auto key = RegistryKey::OpenIfThere(path, helpers::registry_access::kRead, registry_);
        if (!key) return {};
        for (const helpers::RegistryValueName& value : key->Values()) {
            const std::vector<std::byte> data = key->QueryValue(value.name).data;
            AppendTo(content, vek::ToUtf8(value.name));
            AppendTo(content, {reinterpret_cast<const char*>(data.data()), data.size()});
        }
        for (const std::u16string& name : key->Subkeys()) {
            const std::string below = ContentOf({key->handle(), name, path.bitness});
            if (below.empty()) continue;
            AppendTo(content, vek::ToUtf8(name));
            AppendTo(content, below);
        }
    } catch (const vek::CheckFailedException&) {  // changed under this thread's eyes: is other
    }
    return content;
}

void RegistryWatcher::Disarm() noexcept {
    const std::lock_guard guard(lock_);
    for (const SubscriptionPtr& one : subscriptions_) one->armed.reset();
}

WatchThread::WatchThread(vek::RefPtr<RegistryWatcher> watcher, trace::TracerPtr tracer,
                         platform::System& system)
    : watcher_(std::move(watcher)),
      thread_(
          platform::StartCountedThread(system, [watcher = watcher_, tracer = std::move(tracer)] {
              trace::TracedBorder(
                  tracer, [&] { watcher->Run(); }, "RegistryWatcher: ");
          })) {
    if (thread_ == nullptr) vek::ThrowSystem(platform::ResultOf(platform::LastError()));
}

WatchThread::~WatchThread() {
    if (vek::Succeeded(watcher_->Stop())) thread_->Wait(platform::kInfinite);
}

}  // namespace plugins::common
