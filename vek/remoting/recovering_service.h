#pragma once

#include <memory>

#include "vek/core/ref_ptr.h"
#include "vek/core/service_locator.h"
#include "vek/platform/lock.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/remote_object.h"

namespace vek::remoting {

// Connects to a process that may come and go. Any thread may call it.
class ConnectionSource {
public:
    virtual ~ConnectionSource() = default;

    // The connection, made anew when there is none that is open, and the locator that came with it.
    virtual result_t Get(std::shared_ptr<Connection>& connection,
                         RefPtr<IServiceLocator>& locator) noexcept = 0;
};

// A service of a process that may come and go: found anew, by its id, in every new connection.
class RecoveringService final : public RemoteObject {
public:
    RecoveringService(std::shared_ptr<ConnectionSource> source, interface_id_t id) noexcept;

    result_t Reach(Place& place) noexcept override;
    bool Recover(const Place& place) noexcept override;

private:
    const std::shared_ptr<ConnectionSource> source_;
    const interface_id_t id_;
    platform::RecursiveLock lock_;  // guards what follows
    Place place_;
    RefPtr<IObject> service_;  // owns the stub at place_
};

// Gives services that recover: proxies that need not be asked for again when the process that
// serves them was started anew. A lookup asks the process and fails when it is not there.
class RecoveringLocator final : public ObjectImpl<IServiceLocator> {
public:
    RecoveringLocator(std::shared_ptr<ConnectionSource> source,
                      std::shared_ptr<const ProxyStubFactories> factories) noexcept;

    result_t GetInterface(interface_id_t id, const void* reserved,
                          void** service) noexcept override;

private:
    const std::shared_ptr<ConnectionSource> source_;
    const std::shared_ptr<const ProxyStubFactories> factories_;
};

}  // namespace vek::remoting
