#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "sandbox/outlook/host/automation_object.h"
#include "sandbox/outlook/object_model/host_outlook.h"

namespace sandbox::host {

class ItemObject;

// The stand-in's items as objects of the object model: one object for an item as long as anybody
// holds it, and Outlook does while the item is open. Outlook's thread.
class ItemObjects {
public:
    explicit ItemObjects(outlook::HostOutlook& outlook);
    ~ItemObjects();
    ItemObjects(const ItemObjects&) = delete;
    ItemObjects& operator=(const ItemObjects&) = delete;

    vek::RefPtr<IDispatch> ObjectOf(const std::shared_ptr<outlook::OutlookItem>& item);

    // Outlook lets go of those that are not open any more.
    void Sweep();
    // What somebody else than Outlook holds of items: their entry ids, or "unsaved".
    std::vector<std::string> Held();

    outlook::HostOutlook& outlook() { return outlook_; }

private:
    friend class ItemObject;

    outlook::HostOutlook& outlook_;
    std::map<outlook::OutlookItem*, ItemObject*> alive_;
    std::map<outlook::OutlookItem*, vek::RefPtr<ItemObject>> open_;
};

}  // namespace sandbox::host
