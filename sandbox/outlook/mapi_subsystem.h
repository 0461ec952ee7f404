#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "mapi/mapi_functions.h"
#include "sandbox/outlook/message_store.h"
#include "sandbox/outlook/runtime.h"
#include "vek/core/ref_ptr.h"

namespace sandbox::outlook {

// MAPI in memory: one store, its sessions, and the entry points. There is at most one in a
// process at a time, which the entry points reach; a second raises std::logic_error.
//
// Free-threaded. The objects that come out of it belong to the thread that opened them.
class MapiSubsystem {
public:
    explicit MapiSubsystem(const StoreTraits& traits = kPlainStore);
    ~MapiSubsystem();
    MapiSubsystem(const MapiSubsystem&) = delete;
    MapiSubsystem& operator=(const MapiSubsystem&) = delete;

    // The entry points. Without a subsystem they answer MAPI_E_NOT_INITIALIZED; so does
    // MAPILogonEx before MAPIInitialize.
    static plugins::mapi::MapiFunctions Functions();

    const StoreTraits& traits() const { return runtime_->traits(); }
    MessageStore& store() { return *store_; }
    FaultPlan& faults() { return runtime_->faults(); }
    MapiMemory& memory() { return runtime_->memory(); }
    Distortion& distortion() { return runtime_->distortion(); }

    // Open objects for the host itself. These calls are not counted and do not fail as planned.
    // `flags` are those of OpenEntry; null when the message is not there.
    vek::RefPtr<IMessage> OpenMessage(const std::string& entry_id, ULONG flags = MAPI_BEST_ACCESS);
    // Not in the store before its first save.
    vek::RefPtr<IMessage> NewMessage(MessageRecord record);
    vek::RefPtr<IMAPISession> OpenSession();
    vek::RefPtr<IMsgStore> OpenStore();

    // As Runtime::Watch.
    void Watch(std::function<void(const std::string& entry_id)> opened) {
        runtime_->Watch(std::move(opened));
    }

    // How many COM objects are still referenced.
    std::uint32_t live_objects() const { return runtime_->live_objects(); }
    // Calls of an object's methods from a thread that it does not belong to.
    std::uint32_t foreign_calls() const { return runtime_->foreign_calls(); }
    // Objects that outlived the last MAPIUninitialize of their thread, where the store is pedantic.
    std::uint32_t outliving_objects() const { return runtime_->outliving_objects(); }
    // This thread is the host's, which has initialised MAPI for itself.
    void NoteHostThread() { runtime_->NoteInitialize(true); }
    // The flags of each SaveChanges, in their order.
    std::vector<ULONG> save_flags() const { return runtime_->save_flags(); }
    // The flags of each MAPILogonEx and of each MAPIInitialize, in their order.
    std::vector<ULONG> logon_flags() const;
    std::vector<ULONG> initialize_flags() const;
    // How many MAPIInitialize have no MAPIUninitialize yet.
    int initializations() const;

private:
    friend struct EntryPoints;

    const std::shared_ptr<Runtime> runtime_;
    const std::shared_ptr<MessageStore> store_ = std::make_shared<MessageStore>();

    mutable std::mutex mutex_;
    std::vector<ULONG> logon_flags_;
    std::vector<ULONG> initialize_flags_;
    int initializations_ = 0;
};

}  // namespace sandbox::outlook
