#include "common/loader/product_loader.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "common/remoting/remote_interfaces.h"
#include "vek/core/throw.h"
#include "vek/platform/process.h"
#include "vek/remoting/recovering_service.h"
#include "vek/remoting/server.h"
#include "vek/trace/traced_border.h"

namespace plugins::loader {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

bool IsAlive(const ProductConnection& connection) {
    return !connection.is_alive || connection.is_alive();
}

// Whether the program of a process is the file `image`, if one is named.
bool RunsImage(std::uint32_t process_id, const std::string& image) {
    if (image.empty()) return true;
    const auto path = [](const std::string& text) {
        return std::filesystem::path(std::u8string(text.begin(), text.end()));
    };
    std::error_code error;
    const std::string program = vek::platform::ProgramOfProcess(process_id);
    return std::filesystem::equivalent(path(program), path(image), error) && !error;
}

}  // namespace

ProductLoader::ProductLoader(product_info::LibraryEnvironment environment,
                             ProductConnector connector)
    : environment_(std::move(environment)), connector_(std::move(connector)) {}

vek::result_t ProductLoader::GetInterface(vek::interface_id_t id, void** object) noexcept {
    if (object == nullptr) return result::kInvalidArgument;
    *object = nullptr;
    if (id != IServiceLocator::kInterfaceId) return result::kNotFound;
    return vek::AtBorder([&] {
        auto self = vek::RefPtr<ProductLoader>::Share(this);
        const auto locate = [self = std::move(self)](vek::RefPtr<IServiceLocator>& locator) {
            return self->Locate(locator);
        };
        vek::RefPtr<IServiceLocator> now;
        const vek::result_t reached = locate(now);
        if (vek::Failed(reached)) return reached;
        vek::RefPtr<IServiceLocator> locator =
            vek::MakeObject<vek::remoting::RecoveringLocator>(locate, remoting::RemoteInterfaces());
        *object = locator.detach();
        return result::kOk;
    });
}

vek::result_t ProductLoader::Locate(vek::RefPtr<IServiceLocator>& locator) noexcept {
    return trace::TracedBorder(
        environment_.tracer,
        [&] {
            ConnectionPtr connection = Kept();
            if (!connection) connection = Keep(Connect());
            locator = connection->locator;
        },
        "Product is not reached: ");
}

// Gives the connection that was made before; null when there is none or it is lost. A lost one goes
// with `kept`, after the lock: its end calls out and waits.
ProductLoader::ConnectionPtr ProductLoader::Kept() {
    ConnectionPtr kept;
    {
        const std::lock_guard guard(lock_);
        kept = kept_;
    }
    if (!kept || IsAlive(*kept)) return kept;

    trace::Write(environment_.tracer, trace::level::kDetail, "Connection to the product is lost");
    const std::lock_guard guard(lock_);
    if (kept_ == kept) kept_.reset();
    return kept_;
}

// Of two threads that connect at once the later takes what the earlier has kept.
ProductLoader::ConnectionPtr ProductLoader::Keep(const ConnectionPtr& made) {
    for (;;) {
        if (ConnectionPtr earlier = Kept()) return earlier;
        const std::lock_guard guard(lock_);
        if (!kept_) return kept_ = made;
    }
}

ProductLoader::ConnectionPtr ProductLoader::Connect() const {
    const product_info::ProductProcess process = product_info::FindProduct(environment_);
    const product_info::RemoteAddress& address = process.address;
    trace::Write(environment_.tracer, trace::level::kDetail, "Connect to the product: process ",
                 address.process_id, ", local id ", address.local_id, ", port ", address.tcp_port);
    auto made = std::make_shared<ProductConnection>();
    const vek::result_t code = connector_(process, *made);
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (!made->locator) vek::ThrowResult(result::kUnexpected);
    return made;
}

ProductConnector RemoteConnector(trace::TracerPtr tracer) {
    return [tracer = std::move(tracer)](const product_info::ProductProcess& process,
                                        ProductConnection& product) {
        vek::remoting::ConnectionConfig config;
        config.factories = remoting::RemoteInterfaces();
        config.tracer = tracer;
        remote::TransportConfig transport;
        transport.tracer = tracer;
        transport.peer_account = process.account;
        const std::uint32_t id = process.address.process_id;
        transport.peer_check =
            [id, image = process.account.empty() ? process.image : ""](std::uint32_t process_id) {
                return (id == 0 || process_id == id) && RunsImage(process_id, image);
            };
        std::shared_ptr<vek::remoting::Connection> connection;
        const vek::result_t connected =
            vek::remoting::ConnectToServer({process.address.local_id, process.address.tcp_port},
                                           std::move(config), transport, connection);
        if (vek::Failed(connected)) return connected;
        product.is_alive = [connection] { return connection->IsOpen(); };
        return connection->GetServiceLocator(product.locator);
    };
}

LoaderFactory ProductLoaderFactory(product_info::LibraryEnvironment environment) {
    return [environment = std::move(environment)](vek::RefPtr<ILoader>& loader) {
        loader = vek::MakeObject<ProductLoader>(environment, RemoteConnector(environment.tracer));
        return result::kOk;
    };
}

}  // namespace plugins::loader
