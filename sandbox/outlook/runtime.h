#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "sandbox/outlook/distortion.h"
#include "sandbox/outlook/fault_plan.h"
#include "sandbox/outlook/mapi_memory.h"
#include "sandbox/outlook/store_traits.h"

namespace sandbox::outlook {

// The state that all objects of one subsystem share. Every object holds it, so that one that is
// released late still finds it. Free-threaded.
class Runtime {
public:
    explicit Runtime(const StoreTraits& traits = kPlainStore) : traits_(traits) {}

    const StoreTraits& traits() const { return traits_; }
    FaultPlan& faults() { return faults_; }
    MapiMemory& memory() { return memory_; }
    Distortion& distortion() { return distortion_; }

    // Every method of an object that belongs to the thread `owner` comes through here: counts the
    // call, asks the plan, and takes note when the caller is another thread.
    HRESULT Enter(Call kind, std::thread::id owner) {
        if (owner != std::this_thread::get_id()) ++foreign_calls_;
        return faults_.Enter(kind);
    }

    std::uint32_t live_objects() const { return live_objects_; }
    std::uint32_t foreign_calls() const { return foreign_calls_; }

    // The flags of each SaveChanges, in their order.
    std::vector<ULONG> save_flags() const {
        const std::lock_guard lock(mutex_);
        return save_flags_;
    }
    void NoteSave(ULONG flags) {
        const std::lock_guard lock(mutex_);
        save_flags_.push_back(flags);
    }

private:
    friend class LiveObject;

    const StoreTraits traits_;
    FaultPlan faults_;
    MapiMemory memory_;
    Distortion distortion_;
    std::atomic<std::uint32_t> live_objects_{0};
    std::atomic<std::uint32_t> foreign_calls_{0};
    mutable std::mutex mutex_;
    std::vector<ULONG> save_flags_;
};

// Counts its owner among the live objects.
class LiveObject {
public:
    explicit LiveObject(Runtime& runtime) : runtime_(runtime) { ++runtime_.live_objects_; }
    ~LiveObject() { --runtime_.live_objects_; }
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;

private:
    Runtime& runtime_;
};

}  // namespace sandbox::outlook
