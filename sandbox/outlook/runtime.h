#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
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

    // AddRef and Release of such an object.
    void EnterReference(std::thread::id owner) {
        if (traits_.pedantic && owner != std::this_thread::get_id()) ++foreign_calls_;
    }

    // Has `opened` told of every message that a session or the store opens, on its thread. Before
    // there are any.
    void Watch(std::function<void(const std::string& entry_id)> opened) {
        opened_ = std::move(opened);
    }
    void NoteOpened(const std::string& entry_id) const {
        if (opened_) opened_(entry_id);
    }

    // For methods: whether `flags` are refused, being more than the `known` ones.
    bool Refuses(ULONG flags, ULONG known) const {
        return traits_.pedantic && (flags & ~known) != 0;
    }

    // A MAPIInitialize and a MAPIUninitialize of this thread. What a host does for itself keeps the
    // objects of its thread, and none that are free-threaded.
    void NoteInitialize(bool host = false) {
        const std::lock_guard lock(mutex_);
        ++threads_[std::this_thread::get_id()].initializations;
        if (!host) ++threads_[{}].initializations;
    }
    void NoteUninitialize() {
        const std::lock_guard lock(mutex_);
        for (const std::thread::id thread : {std::this_thread::get_id(), std::thread::id()}) {
            OnThread& its = threads_[thread];
            if (its.initializations != 0 && --its.initializations == 0 && traits_.pedantic)
                outliving_objects_ += its.objects;
        }
    }

    std::uint32_t live_objects() const { return live_objects_; }
    // Those that were still there at the last MAPIUninitialize of their thread, free-threaded ones
    // at the last of all.
    std::uint32_t outliving_objects() const { return outliving_objects_; }
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

    struct OnThread {
        std::uint32_t initializations = 0;
        std::uint32_t objects = 0;
    };

    const StoreTraits traits_;
    std::function<void(const std::string& entry_id)> opened_;
    FaultPlan faults_;
    MapiMemory memory_;
    Distortion distortion_;
    std::atomic<std::uint32_t> live_objects_{0};
    std::atomic<std::uint32_t> foreign_calls_{0};
    std::atomic<std::uint32_t> outliving_objects_{0};
    mutable std::mutex mutex_;
    std::map<std::thread::id, OnThread> threads_;  // no thread's id for what is free-threaded
    std::vector<ULONG> save_flags_;
};

// Counts its owner among the live objects, and those of `thread`; none for a free-threaded one.
class LiveObject {
public:
    LiveObject(Runtime& runtime, std::thread::id thread) : runtime_(runtime), thread_(thread) {
        Count(1);
    }
    ~LiveObject() { Count(-1); }
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;

    std::thread::id thread() const { return thread_; }

private:
    void Count(int more) {
        const auto change = static_cast<std::uint32_t>(more);
        runtime_.live_objects_ += change;
        if (!runtime_.traits_.pedantic) return;
        const std::lock_guard lock(runtime_.mutex_);
        runtime_.threads_[thread_].objects += change;
    }

    Runtime& runtime_;
    const std::thread::id thread_;
};

}  // namespace sandbox::outlook
