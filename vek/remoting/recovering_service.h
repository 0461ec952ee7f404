#pragma once

#include <functional>
#include <memory>

#include "vek/core/ref_ptr.h"
#include "vek/core/service_locator.h"
#include "vek/platform/lock.h"
#include "vek/remoting/proxy_stub_factory.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// Gives the locator of a process that may come and go: a proxy over a connection that is open, made
// anew when there is none. Called from any thread; must not raise.
using LocatorSource = std::function<result_t(RefPtr<IServiceLocator>& locator)>;

// A service of a process that may come and go: found anew, by its id, in every new connection. To
// find it is a limited call (call_wait.h).
class RecoveringService final : public RemoteObject {
public:
    RecoveringService(LocatorSource source, interface_id_t id);

    result_t Resolve(StubAddress& address) noexcept override;
    bool Recover(const StubAddress& address) noexcept override;

    // Asks the process for the service.
    result_t Find(RefPtr<IObject>& service) const noexcept;
    // Keeps what Find gave. kNotSupported for an object of this process.
    result_t Adopt(RefPtr<IObject> service, StubAddress& address) noexcept;

private:
    const LocatorSource source_;
    const interface_id_t id_;
    platform::RecursiveLock lock_;  // guards what follows
    StubAddress address_;
    RefPtr<IObject> service_;  // owns the stub at address_
};

// Gives services that recover: proxies that need not be asked for again when the process that
// serves them was started anew. A lookup asks the process and fails when it is not there; it gives
// a service that is in this process as it is.
class RecoveringLocator final : public ObjectImpl<IServiceLocator> {
public:
    RecoveringLocator(LocatorSource source, std::shared_ptr<const ProxyStubFactories> factories);

    result_t GetInterface(interface_id_t id, const void* reserved,
                          void** service) noexcept override;

private:
    const LocatorSource source_;
    const std::shared_ptr<const ProxyStubFactories> factories_;
};

}  // namespace vek::remoting
