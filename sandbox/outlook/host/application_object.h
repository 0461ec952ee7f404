#pragma once

#include <memory>
#include <string>

#include "sandbox/outlook/host/item_objects.h"

namespace sandbox::host {

// The application with its windows, its name space and its inbox. `raise` brings the events that
// the stand-in has no list of: Startup and MAPILogonComplete.
class ApplicationObject : public AutomationObject {
public:
    static vek::RefPtr<ApplicationObject> Make(std::shared_ptr<ItemObjects> items);

    // Raises an event without arguments to those who have subscribed to either interface.
    virtual void Raise(DISPID event) = 0;

protected:
    using AutomationObject::AutomationObject;
};

// What an add-in can ask of its own entry in the list of add-ins.
vek::RefPtr<IDispatch> MakeAddinEntry(std::u16string prog_id);

}  // namespace sandbox::host
