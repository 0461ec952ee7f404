#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/lock.h"
#include "vek/remoting/protocol_features.h"
#include "vek/remoting/proxy_stub_factory.h"
#include "vek/remoting/stub_handle.h"
#include "vek/trace/tracer.h"

namespace vek::remoting {

// An interface of an object of this process that the peer may call. Immutable; a call in progress
// shares it, so that the object outlives the call whatever is released meanwhile.
struct Stub {
    RefPtr<IObject> object;  // as the interface of `factory`
    const ProxyStubFactory* factory;
};

// The stubs of one connection. Operations may be called from any thread; the lock is held for the
// table alone, never while an object is called or destroyed.
class StubRegistry {
public:
    // A peer that makes this end keep more stubs than this is refused the next one.
    static constexpr std::size_t kMaxStubs = 65536;

    // A call of this end whose reply may name one of its stubs, until the reply has been taken. The
    // peer may let such a stub go meanwhile, and say so on another thread before the reply is here:
    // a release that comes during the call takes effect after it.
    class ReplyToTake {
    public:
        // Raises std::bad_alloc.
        explicit ReplyToTake(StubRegistry& registry);
        ~ReplyToTake() { registry_.RemoveReply(number_); }
        ReplyToTake(const ReplyToTake&) = delete;
        ReplyToTake& operator=(const ReplyToTake&) = delete;

    private:
        StubRegistry& registry_;
        const std::uint64_t number_;
    };

    StubRegistry(std::shared_ptr<const ProxyStubFactories> factories,
                 std::unique_ptr<SequenceGenerator> generator, trace::TracerPtr tracer);
    ~StubRegistry();

    void ApplyFeatures(const ProtocolFeatures& features) noexcept;
    bool eliminates_proxy_loops() const noexcept { return proxy_loop_elimination_; }
    // Whether the features have been applied: the peer may call objects from then on.
    bool synchronized() const noexcept { return synchronized_.load(std::memory_order_acquire); }
    bool uses_null_flags() const noexcept { return null_argument_flags_; }

    // Makes a stub for the interface `id`, which `object` is, and gives the handle by which the
    // peer knows it. kNotSupported for an interface that does not travel, or an object that may
    // not; kInsufficientResources when there are too many stubs; kUnexpected when the generator
    // gives what is no number for a handle; kInvalidHandle when it gives one again.
    result_t CreateStub(interface_id_t id, IObject* object, stub_handle_t& handle) noexcept;

    // Empty when there is none. `handle` with or without its stub flag.
    std::shared_ptr<const Stub> FindStub(stub_handle_t handle) const noexcept;

    // False when there is none, or it was released before.
    bool ReleaseStub(stub_handle_t handle) noexcept;

    // Releases stubs that the peer has let go; handles that are no stub's are traced. kInvalidSize
    // for more of them than there can be stubs.
    result_t ReleaseStubs(const ReleasedList& released) noexcept;

    // Makes a proxy of interface `id` for `object`. kNotSupported for an interface that does not
    // travel.
    result_t CreateProxy(interface_id_t id, std::shared_ptr<RemoteObject> object,
                         void** proxy) noexcept;

    // Whether `handle` may be a proxy's; a line is traced when it is a stub's.
    bool MayReleaseProxy(stub_handle_t handle) const noexcept;

    // Releases every stub; none can be made afterwards.
    void Close() noexcept;

    std::size_t size() const noexcept;

private:
    struct Kept {
        std::shared_ptr<const Stub> stub;
        bool is_released = false;  // by the peer, as soon as replies have been taken
    };
    using Stubs = std::unordered_map<stub_handle_t, Kept>;
    struct Release {
        stub_handle_t handle;
        std::uint64_t last_reply;  // the youngest one that was to be taken then
    };

    std::uint64_t AddReply();
    void RemoveReply(std::uint64_t number) noexcept;
    bool Defer(Stubs::value_type& kept) noexcept;
    result_t DoCreateStub(interface_id_t id, IObject* object, stub_handle_t& handle);

    const std::shared_ptr<const ProxyStubFactories> factories_;
    const std::unique_ptr<SequenceGenerator> generator_;
    const trace::TracerPtr tracer_;
    std::atomic<bool> proxy_loop_elimination_{false};
    std::atomic<bool> object_flag_{false};
    std::atomic<bool> null_argument_flags_{false};
    std::atomic<bool> synchronized_{false};

    mutable platform::RecursiveLock lock_;  // guards what follows
    Stubs stubs_;
    std::vector<std::uint64_t> replies_;  // to be taken, the oldest first
    std::uint64_t last_reply_ = 0;
    std::deque<Release> deferred_;  // the oldest first
    bool closed_ = false;
};

}  // namespace vek::remoting
