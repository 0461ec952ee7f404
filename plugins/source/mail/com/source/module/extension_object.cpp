#include "module/extension_object.h"

#include "automation/automation_ids.h"
#include "internal/helpers/hresult_exception.h"

namespace plugins::dll {

namespace automation = mail_processing::automation;

ExtensionObject::ExtensionObject()
    : ExtensionObject(std::make_shared<com::Subscribers>(automation::iid::kExchExtEvents)) {}

ExtensionObject::ExtensionObject(std::shared_ptr<com::Subscribers> sinks)
    : CountedObject(sinks), publisher_(std::move(sinks)) {
    helpers::CheckHResult(
        EventsOf(vek::RefPtr<CExchClientExt>::Share(this))->Advise(publisher_, connection_));
}

void* ExtensionObject::Find(REFIID id) noexcept {
    if (id == IID_IConnectionPointContainer) return static_cast<IConnectionPointContainer*>(this);
    if (id == automation::iid::kExchExtObject) return static_cast<IExchClientExt*>(this);
    return FindClientInterface(id);
}

mapi::IExchExt* CreateRegisteredExtension() noexcept {
    vek::RefPtr<IUnknown> object;
    if (FAILED(automation::CreateExtensionObject(object)) || !object) return nullptr;
    vek::RefPtr<mapi::IExchExt> extension;
    if (FAILED(object->QueryInterface(mapi::iid::kExchExt, extension.put_void()))) return nullptr;
    return extension.detach();
}

}  // namespace plugins::dll
