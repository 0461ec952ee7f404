#include "vek/remoting/stub_registry.h"

#include <mutex>
#include <utility>

#include "vek/core/border.h"
#include "vek/remoting/local_interfaces.h"
#include "vek/trace/line.h"

namespace vek::remoting {
namespace {

using trace::Address;
using trace::Hex;

bool MarshalsItself(IObject* object) noexcept {
    RefPtr<ICustomMarshal> custom;
    return Succeeded(object->QueryInterface(ICustomMarshal::kInterfaceId, custom.put_void()));
}

}  // namespace

StubRegistry::StubRegistry(std::shared_ptr<const ProxyStubFactories> factories,
                           std::unique_ptr<SequenceGenerator> generator, trace::TracerPtr tracer)
    : factories_(std::move(factories)),
      generator_(std::move(generator)),
      tracer_(std::move(tracer)) {}

StubRegistry::~StubRegistry() = default;

void StubRegistry::ApplyFeatures(const ProtocolFeatures& features) noexcept {
    proxy_loop_elimination_ = features.proxyLoopElimination != 0;
    object_flag_ = features.objectFlagInStubHandle != 0;
    null_argument_flags_ = features.nullArgumentFlags != 0;
    synchronized_.store(true, std::memory_order_release);
}

result_t StubRegistry::CreateStub(interface_id_t id, IObject* object,
                                  stub_handle_t& handle) noexcept {
    handle = kNoHandle;
    return AtBorder([&] { return DoCreateStub(id, object, handle); });
}

result_t StubRegistry::DoCreateStub(interface_id_t id, IObject* object, stub_handle_t& handle) {
    const ProxyStubFactory* factory = factories_->Find(id);
    if (factory == nullptr) return result::kNotSupported;
    if (factory->version < ProxyStubFactory::kModernVersion) {
        trace::Write(tracer_, trace::level::kError, "VEK remoting: StubRegistry(0x", Address(this),
                     ")::DoCreateStub() legacy PS-factory for interface iid = ", Hex(id),
                     " does not support modern interface (v4).");
        return result::kNotSupported;
    }
    if (!object_flag_ && MarshalsItself(object)) {
        trace::Write(tracer_, trace::level::kError, "VEK remoting: Attempt to pass an object 0x",
                     Address(object), " which supports custom marshalling through a connection",
                     "which doesn't support ObjectIds.");
        return result::kNotSupported;
    }

    const std::uint64_t number = generator_->Next();
    if ((number & kReservedBits) != 0) {
        trace::Write(tracer_, trace::level::kError, "VEK remoting: Sequence generator 0x",
                     Address(generator_.get()), " has returned an out-of-range value 0x",
                     Address(number), " to the StubRegistry(0x", Address(this),
                     "). No one could possibly have made 2^60 remote calls, right?");
        return result::kUnexpected;
    }
    const stub_handle_t made = object_flag_ ? number | kObjectFlag : number;
    auto stub = std::make_shared<const Stub>(Stub{RefPtr<IObject>::Share(object), factory});

    const std::lock_guard guard(lock_);
    if (closed_) return result::kRemoteCallFailed;
    if (stubs_.size() >= kMaxStubs) return result::kInsufficientResources;
    if (!stubs_.try_emplace(made | kStubFlag, Kept{std::move(stub)}).second) {
        trace::Write(tracer_, trace::level::kError,
                     "VEK remoting: Handle collision in StubRegistry(0x", Address(this),
                     "). Handle = 0x", Address(made | kStubFlag));
        return result::kInvalidHandle;
    }
    handle = made;
    return result::kOk;
}

std::shared_ptr<const Stub> StubRegistry::FindStub(stub_handle_t handle) const noexcept {
    const std::lock_guard guard(lock_);
    const auto found = stubs_.find(handle | kStubFlag);
    return found == stubs_.end() ? nullptr : found->second.stub;
}

bool StubRegistry::ReleaseStub(stub_handle_t handle) noexcept {
    Stubs::node_type released;  // destroyed without the lock: the object may call back
    const std::lock_guard guard(lock_);
    const auto found = stubs_.find(handle | kStubFlag);
    if (found == stubs_.end() || found->second.is_released) return false;
    if (!Defer(*found)) released = stubs_.extract(found);
    return true;
}

// False when no reply can need the stub, and for want of memory.
bool StubRegistry::Defer(Stubs::value_type& kept) noexcept {
    if (replies_.empty()) return false;
    const result_t deferred = AtBorder([&] { deferred_.push_back({kept.first, replies_.back()}); });
    return kept.second.is_released = Succeeded(deferred);
}

StubRegistry::ReplyToTake::ReplyToTake(StubRegistry& registry)
    : registry_(registry), number_(registry.AddReply()) {}

std::uint64_t StubRegistry::AddReply() {
    const std::lock_guard guard(lock_);
    replies_.push_back(last_reply_ + 1);
    return ++last_reply_;
}

void StubRegistry::RemoveReply(std::uint64_t number) noexcept {
    std::unique_lock guard(lock_);
    std::erase(replies_, number);
    while (!deferred_.empty() &&
           (replies_.empty() || replies_.front() > deferred_.front().last_reply)) {
        Stubs::node_type released = stubs_.extract(deferred_.front().handle);
        deferred_.pop_front();
        guard.unlock();  // the object may call back
        released = {};
        guard.lock();
    }
}

result_t StubRegistry::ReleaseStubs(const ReleasedList& released) noexcept {
    if (released.size() > kMaxStubs) return result::kInvalidSize;
    std::size_t unknown = 0;
    released.ForEach([&](stub_handle_t handle) {
        if (!ReleaseStub(handle)) ++unknown;
    });
    if (unknown != 0) {
        trace::Write(tracer_, trace::level::kError,
                     "VEK remoting: the peer released handles that are no stub's: ", unknown);
    }
    return result::kOk;
}

result_t StubRegistry::CreateProxy(interface_id_t id, std::shared_ptr<RemoteObject> object,
                                   void** proxy) noexcept {
    *proxy = nullptr;
    const ProxyStubFactory* factory = factories_->Find(id);
    if (factory == nullptr) return result::kNotSupported;
    return AtBorder([&] { factory->make_proxy(std::move(object), proxy); });
}

bool StubRegistry::MayReleaseProxy(stub_handle_t handle) const noexcept {
    if (!IsStubHandle(handle)) return true;
    trace::Write(tracer_, trace::level::kError, "VEK remoting: StubRegistry(0x", Address(this),
                 "): ReleaseProxy is called with a handle 0x", Address(handle),
                 " that is actually a handle of a stub, not a proxy.");
    return false;
}

void StubRegistry::Close() noexcept {
    Stubs released;  // destroyed without the lock: the objects may call back
    const std::lock_guard guard(lock_);
    closed_ = true;
    released.swap(stubs_);
    deferred_.clear();
}

std::size_t StubRegistry::size() const noexcept {
    const std::lock_guard guard(lock_);
    return stubs_.size();
}

}  // namespace vek::remoting
