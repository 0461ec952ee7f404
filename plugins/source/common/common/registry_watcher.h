#pragma once

// Tells subscribers of changes in the registry, without polling it.

#include <cstddef>
#include <memory>
#include <vector>

#include "internal/helpers/registry_impl.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/lock.h"
#include "vek/platform/system.h"
#include "vek/trace/tracer.h"

namespace plugins::common {

// Is told of changes.
struct IRegistrySubscriber : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x3C5D9A21;

    // A value of `key` or below it has changed, or `key` has come or gone with values; it may be
    // told of one change twice. Called on the watch thread with the watcher's lock held: it holds
    // up all other subscribers, and may subscribe and unsubscribe. What it raises is traced.
    virtual void changed(const helpers::RegistryKeyPath& key) = 0;

protected:
    ~IRegistrySubscriber() = default;
};

using RegistrySubscriberPtr = vek::RefPtr<IRegistrySubscriber>;

// Any thread may call the operations. Each raises vek::CheckResultFailedException when the watch
// thread cannot be woken.
struct IRegistryWatcher : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x71E8D40B;

    // Every change from now on will be told, of a key that is missing, too: once the watch thread
    // has seen that it is there. A subscriber may have several keys. It is kept until it leaves.
    virtual void Subscribe(const helpers::RegistryKeyPath& key,
                           RegistrySubscriberPtr subscriber) = 0;
    // Ends all its subscriptions. Waits for a call of `changed`, but for the caller's own; there
    // is none afterwards.
    virtual void Unsubscribe(IRegistrySubscriber* subscriber) = 0;
    // Has the watch thread look for keys that were missing. Does not wait.
    virtual void LookAgain() = 0;

protected:
    ~IRegistryWatcher() = default;
};

// The body of a thread.
struct IRunnable : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x0D94F6E2;
    virtual void Run() = 0;

protected:
    ~IRunnable() = default;
};

struct IStoppable : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x58B3271C;
    virtual vek::result_t Stop() noexcept = 0;

protected:
    ~IStoppable() = default;
};

// The watcher. At most kMaxWatched keys are watched at once; the rest, later ones, when there is
// room.
class RegistryWatcher final : public vek::ObjectImpl<IRegistryWatcher, IRunnable, IStoppable> {
public:
    // What one wait takes, but for the events that stop and wake it.
    static constexpr std::size_t kMaxWatched = vek::platform::kMaxWaitEvents - 2;

    // Raises vek::SystemException when the system has no events left.
    explicit RegistryWatcher(vek::trace::TracerPtr tracer,
                             helpers::Registry& registry = vek::platform::TheRegistry(),
                             vek::platform::System& system = vek::platform::TheSystem());

    void Subscribe(const helpers::RegistryKeyPath& key, RegistrySubscriberPtr subscriber) override;
    void Unsubscribe(IRegistrySubscriber* subscriber) override;
    void LookAgain() override;

    // Watches until Stop; on one thread, once. Raises vek::CheckFailedException when it cannot wait
    // or a key cannot be watched for another reason than that it is missing or cannot be opened,
    // and vek::SystemException for want of events; nobody is told any more then.
    void Run() override;

    // Ends Run, now or when it begins. Gives the code of a failure, which is traced.
    vek::result_t Stop() noexcept override;

private:
    struct Armed;
    struct Subscription;
    using SubscriptionPtr = std::shared_ptr<Subscription>;

    std::unique_ptr<vek::platform::Event> NewEvent(vek::platform::EventKind kind) const;
    std::unique_ptr<Armed> Arm(const helpers::RegistryKeyPath& key) const;
    bool ArmAnew(Subscription& subscription) const;
    bool HasFired(const Armed& armed) const;
    std::string ContentOf(const helpers::RegistryKeyPath& key) const;
    std::vector<SubscriptionPtr> ArmAll();
    void Serve(const helpers::RegistryKeyPath& key);
    void Tell(const helpers::RegistryKeyPath& key);
    void Disarm() noexcept;

    const vek::trace::TracerPtr tracer_;
    helpers::Registry& registry_;
    vek::platform::System& system_;
    const std::unique_ptr<vek::platform::Event> m_stopEvent;
    const std::unique_ptr<vek::platform::Event> wake_event_;
    vek::platform::RecursiveLock lock_;  // guards what follows
    std::vector<SubscriptionPtr> subscriptions_;
    std::size_t unwatched_ = 0;  // for want of room
};

// A watcher on a thread of its own, which runs from here to the end of this object.
class WatchThread {
public:
    // Raises vek::SystemException when no thread can be started.
    WatchThread(vek::RefPtr<RegistryWatcher> watcher, vek::trace::TracerPtr tracer,
                vek::platform::System& system = vek::platform::TheSystem());
    // Stops the watcher and waits for the thread: on any other thread, with no lock held that a
    // subscriber may want, and not while the module is being unloaded.
    ~WatchThread();
    WatchThread(const WatchThread&) = delete;
    WatchThread& operator=(const WatchThread&) = delete;

    const vek::RefPtr<RegistryWatcher>& watcher() const noexcept { return watcher_; }

private:
    const vek::RefPtr<RegistryWatcher> watcher_;
    std::unique_ptr<vek::platform::Thread> thread_;
};

}  // namespace plugins::common
