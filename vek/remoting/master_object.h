#pragma once

#include "vek/core/ref_ptr.h"
#include "vek/core/service_locator.h"

namespace vek::remoting {

// What a process offers to its peers. Every connection that handed out the service locator keeps
// it locked, so that the process does not go down under them. Any thread may call it.
class MasterObject {
public:
    virtual ~MasterObject() = default;

    // A failure refuses the peer. Each success is matched by one Unlock.
    virtual result_t Lock() noexcept = 0;
    virtual void Unlock() noexcept = 0;

    virtual result_t GetServiceLocator(RefPtr<IServiceLocator>& locator) noexcept = 0;
};

}  // namespace vek::remoting
