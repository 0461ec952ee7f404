#pragma once

// An object that one process offers and another calls, over the remoting.

#include <cstdlib>
#include <memory>
#include <utility>

#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/thread.h"
#include "vek/remoting/server.h"

namespace bench {

using Factories = std::shared_ptr<const vek::remoting::ProxyStubFactories>;

// Offers one object by whatever interface it has.
class OneService final : public vek::ObjectImpl<vek::IServiceLocator> {
public:
    explicit OneService(vek::RefPtr<vek::IObject> service) : service_(std::move(service)) {}
    vek::result_t GetInterface(vek::interface_id_t id, const void*, void** out) noexcept override {
        return service_->QueryInterface(id, out);
    }

private:
    const vek::RefPtr<vek::IObject> service_;
};

// One that no other process takes.
inline remote::Endpoint OwnEndpoint() { return {vek::platform::CurrentProcessId(), 0}; }

// Serves until the process ends.
inline void Serve(const remote::Endpoint& endpoint, Factories factories,
                  vek::RefPtr<vek::IObject> service) {
    vek::remoting::ServerConfig config;
    config.endpoint = endpoint;
    config.connection.factories = std::move(factories);
    config.connection.master = std::make_shared<vek::remoting::SteadyMaster>(
        vek::MakeObject<OneService>(std::move(service)));
    std::unique_ptr<vek::remoting::Server> server;
    if (vek::Failed(vek::remoting::Server::Start(std::move(config), server))) std::abort();
    static_cast<void>(server.release());
}

// The calling end.
class Client {
public:
    Client(const remote::Endpoint& endpoint, Factories factories) {
        vek::remoting::ConnectionConfig config;
        config.factories = std::move(factories);
        vek::remoting::ConnectToServer(endpoint, std::move(config), {}, connection_);
    }
    ~Client() {
        if (connection_) connection_->Close(vek::result::kOk);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // Null when the peer cannot be reached or has none.
    template <class I>
    vek::RefPtr<I> Service() const {
        vek::RefPtr<vek::IServiceLocator> locator;
        vek::RefPtr<I> service;
        if (connection_ && vek::Succeeded(connection_->GetServiceLocator(locator))) {
            locator->GetInterface(I::kInterfaceId, nullptr, service.put_void());
        }
        return service;
    }
    const vek::remoting::Connection& connection() const { return *connection_; }

private:
    std::shared_ptr<vek::remoting::Connection> connection_;
};

}  // namespace bench
