#pragma once

#include "automation/dispatch_object.h"
#include "object_model/object_model.h"

namespace plugins::mail_processing::automation {

// The object that Outlook gives an add-in when it connects it.
class AutomationObject final : public ApplicationObject {
public:
    // Adds a reference. Null is answered with E_POINTER.
    explicit AutomationObject(IUnknown* object) noexcept
        : object_(vek::RefPtr<IUnknown>::Share(object)) {}

    HRESULT GetApplication(ApplicationPtr& application) noexcept override;

private:
    const vek::RefPtr<IUnknown> object_;
};

// Outlook's application, called late. Every failed call gives the code that it failed with.
class AutomationApplication final : public Application {
public:
    // `object` is an _Application.
    explicit AutomationApplication(vek::RefPtr<IDispatch> object) noexcept
        : object_(std::move(object)) {}

    HRESULT GetName(std::u16string& name) noexcept override;
    HRESULT GetVersion(std::u16string& version) noexcept override;
    HRESULT GetMapiSession(vek::RefPtr<IMAPISession>& session) noexcept override;
    HRESULT GetOpenItems(std::vector<ItemPtr>& items) noexcept override;
    HRESULT GetSelectedItem(ItemPtr& item) noexcept override;
    HRESULT AdviseEvents(ApplicationEvents& events,
                         EventConnectionPtr& connection) noexcept override;
    HRESULT AdviseNewerEvents(ApplicationEvents& events,
                              EventConnectionPtr& connection) noexcept override;
    HRESULT AdviseInbox(FolderEvents& events, EventConnectionPtr& connection) noexcept override;

private:
    DispatchObject NameSpace() const;

    const DispatchObject object_;
};

// The mouse pointer of the calling thread. One that cannot be loaded leaves the one that is shown.
class SystemCursor final : public Cursor {
public:
    void* Show(std::uint16_t resource_id) noexcept override;
    void Restore(void* previous) noexcept override;
};

}  // namespace plugins::mail_processing::automation
