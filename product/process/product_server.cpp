#include "product/process/product_server.h"

#include <string>
#include <utility>

#include "common/remoting/remote_interfaces.h"
#include "vek/core/result_text.h"
#include "vek/platform/thread.h"
#include "vek/remoting/server.h"

namespace reference_product {
namespace {

namespace remoting = vek::remoting;

class Master final : public remoting::MasterObject {
public:
    explicit Master(vek::RefPtr<plugins::IServiceLocator> locator) noexcept
        : locator_(std::move(locator)) {}

    // The process runs until it is told to stop, whoever is connected.
    vek::result_t Lock() noexcept override { return vek::result::kOk; }
    void Unlock() noexcept override {}

    vek::result_t GetServiceLocator(
        vek::RefPtr<plugins::IServiceLocator>& locator) noexcept override {
        locator = locator_;
        return vek::result::kOk;
    }

private:
    const vek::RefPtr<plugins::IServiceLocator> locator_;
};

class RemoteServer final : public ProductServer {
public:
    explicit RemoteServer(std::unique_ptr<remoting::Server> server) noexcept
        : server_(std::move(server)) {}

    plugins::product_info::RemoteAddress address() const override {
        const remote::Endpoint endpoint = server_->endpoint();
        return {endpoint.local_id, endpoint.tcp_port, 0, vek::platform::CurrentProcessId()};
    }

private:
    const std::unique_ptr<remoting::Server> server_;
};

}  // namespace

vek::result_t ServeRemotely(vek::RefPtr<plugins::IServiceLocator> locator, Log log,
                            std::unique_ptr<ProductServer>& server) {
    remoting::ServerConfig config;
    config.endpoint.local_id = vek::platform::CurrentProcessId();
    config.connection.factories = plugins::remoting::RemoteInterfaces();
    config.connection.master = std::make_shared<Master>(std::move(locator));
    config.on_connected = [log](std::uint32_t process_id) {
        log("connected: process " + std::to_string(process_id));
    };
    config.on_disconnected = [log](std::uint32_t process_id, vek::result_t reason) {
        std::string line = "disconnected: process " + std::to_string(process_id) + ", ";
        vek::AppendResult(line, reason);
        log(line);
    };
    std::unique_ptr<remoting::Server> started;
    const vek::result_t code = remoting::Server::Start(std::move(config), started);
    if (vek::Failed(code)) return code;
    server = std::make_unique<RemoteServer>(std::move(started));
    return vek::result::kOk;
}

}  // namespace reference_product
