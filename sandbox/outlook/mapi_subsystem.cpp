#include "sandbox/outlook/mapi_subsystem.h"

#include "sandbox/outlook/entry_points.h"
#include "sandbox/outlook/open_message.h"
#include "sandbox/outlook/session.h"
#include "sandbox/outlook/store_object.h"

namespace sandbox::outlook {

MapiSubsystem::MapiSubsystem(const StoreTraits& traits)
    : runtime_(std::make_shared<Runtime>(traits)) {
    EntryPoints::Attach(this);
}

MapiSubsystem::~MapiSubsystem() { EntryPoints::Detach(); }

plugins::mapi::MapiFunctions MapiSubsystem::Functions() { return EntryPoints::Table(); }

vek::RefPtr<IMessage> MapiSubsystem::OpenMessage(const std::string& entry_id, ULONG flags) {
    return OpenStoredMessage(runtime_, store_, entry_id, flags);
}

vek::RefPtr<IMessage> MapiSubsystem::NewMessage(MessageRecord record) {
    return NewStoredMessage(runtime_, store_, std::move(record));
}

vek::RefPtr<IMAPISession> MapiSubsystem::OpenSession() {
    return vek::MakeObject<Session>(runtime_, store_);
}

vek::RefPtr<IMsgStore> MapiSubsystem::OpenStore() {
    return vek::MakeObject<StoreObject>(runtime_, store_);
}

std::vector<ULONG> MapiSubsystem::logon_flags() const {
    const std::lock_guard lock(mutex_);
    return logon_flags_;
}

std::vector<ULONG> MapiSubsystem::initialize_flags() const {
    const std::lock_guard lock(mutex_);
    return initialize_flags_;
}

int MapiSubsystem::initializations() const {
    const std::lock_guard lock(mutex_);
    return initializations_;
}

}  // namespace sandbox::outlook
