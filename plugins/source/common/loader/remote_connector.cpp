#include "common/loader/remote_connector.h"

#include <utility>

#include "common/loader/recovering_loader.h"
#include "common/remoting/remote_interfaces.h"
#include "vek/remoting/server.h"

namespace plugins::loader {

ProductConnector RemoteConnector(vek::trace::TracerPtr tracer) {
    return [tracer = std::move(tracer)](const product_info::RemoteAddress& address,
                                        ProductConnection& product) {
        vek::remoting::ConnectionConfig config;
        config.factories = remoting::RemoteInterfaces();
        config.tracer = tracer;
        remote::TransportConfig transport;
        transport.tracer = tracer;
        if (address.process_id != 0) {
            transport.peer_check = [expected = address.process_id](std::uint32_t process_id) {
                return process_id == expected;
            };
        }
        std::shared_ptr<vek::remoting::Connection> connection;
        const vek::result_t connected = vek::remoting::ConnectToServer(
            {address.local_id, address.tcp_port}, std::move(config), transport, connection);
        if (vek::Failed(connected)) return connected;
        product.is_alive = [connection] { return connection->IsOpen(); };
        return connection->GetServiceLocator(product.locator);
    };
}

LoaderFactory ProductLoaderFactory(product_info::LibraryEnvironment environment) {
    return [environment = std::move(environment)](vek::RefPtr<ILoader>& loader) {
        loader = vek::MakeObject<RecoveringLoader>(
            vek::MakeObject<ProductLoader>(environment, RemoteConnector(environment.tracer)));
        return vek::result::kOk;
    };
}

}  // namespace plugins::loader
