#include "product/process/product_process.h"

#include <iostream>
#include <limits>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>

#include "product/process/product_services.h"
#include "product/state/process_start.h"
#include "product/state/run_folder.h"
#include "product/status/product_status.h"
#include "vek/core/current_exception.h"
#include "vek/core/object.h"
#include "vek/core/result_text.h"
#include "vek/platform/thread.h"
#include "vek/remoting/server.h"

namespace reference_product {
namespace {

namespace remoting = vek::remoting;

// The pause between two looks at the folder for a request to stop.
constexpr std::chrono::milliseconds kLookAround{50};

// A service's scanner is told, and need not look.
constexpr std::chrono::seconds kScannersPause{10};

// The longest wait for checks under way. They end by themselves, as their callers are gone.
constexpr std::chrono::seconds kLastChecks{5};

// Names the process in the folder for as long as it can be reached.
class Publication {
public:
    Publication(const RunFolder& folder, const RunningProduct& self)
        : folder_(folder), self_(self) {
        folder_.Publish(self_);
    }
    ~Publication() { folder_.Withdraw(self_); }
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;

private:
    const RunFolder& folder_;
    const RunningProduct& self_;
};

// Gives the services to one process that has connected.
class Master final : public remoting::MasterObject {
public:
    Master(vek::RefPtr<plugins::IServiceLocator> locator, ReachStep reach) noexcept
        : locator_(std::move(locator)), reach_(std::move(reach)) {}

    // The process runs until it is told to stop, whoever is connected.
    vek::result_t Lock() noexcept override {
        if (reach_) reach_(Step::kFeatures);
        return vek::result::kOk;
    }
    void Unlock() noexcept override {}

    vek::result_t GetServiceLocator(
        vek::RefPtr<plugins::IServiceLocator>& locator) noexcept override {
        if (reach_) reach_(Step::kLocator);
        locator = locator_;
        return vek::result::kOk;
    }

private:
    const vek::RefPtr<plugins::IServiceLocator> locator_;
    const ReachStep reach_;
};

// A machine on which many work at once has as many Outlooks.
constexpr std::size_t kServicesConnections = 1024;

Caller CallerOf(const remote::PeerIdentity& peer) {
    return {peer.process_id, peer.session_id, peer.account};
}

// Who is served, and where: by a service's scanner whoever works at this machine, at a local id
// that nobody can take before it.
void SetPeers(const ProductOptions& options, remoting::ServerConfig& config) {
    config.endpoint.local_id = vek::platform::CurrentProcessId();
    if (options.mode != ProgramMode::kScanner) return;
    std::random_device random;  // the system's own
    // Whoever names an endpoint takes the number for one with a sign.
    config.endpoint.local_id =
        std::uniform_int_distribution<std::uint32_t>(1, std::numeric_limits<int>::max())(random);
    config.transport.peer_account = remote::kInteractiveUsers;
    config.most_connections = kServicesConnections;
}

// Lets others reach the services. The log is told who comes and goes.
std::unique_ptr<remoting::Server> Serve(const ProductOptions& options, const Log& log) {
    const ReachStep reach = MakeReachStep(options.silence);
    remoting::ServerConfig config;
    SetPeers(options, config);
    config.connection.factories = ProductInterfaces();
    config.master_for = [services = std::make_shared<ProductServices>(options, log, reach),
                         reach](const remote::PeerIdentity& peer) {
        return std::make_shared<Master>(services->MakeServices(CallerOf(peer)), reach);
    };
    config.on_connected = [log, reach](const remote::PeerIdentity& peer) {
        if (reach) reach(Step::kAccept);
        log("connected: " + ToText(CallerOf(peer)));
    };
    config.on_disconnected = [log](const remote::PeerIdentity& peer, vek::result_t reason) {
        std::string line = "disconnected: " + ToText(CallerOf(peer)) + ", ";
        vek::AppendResult(line, reason);
        log(line);
    };
    std::unique_ptr<remoting::Server> server;
    const vek::result_t code = remoting::Server::Start(std::move(config), server);
    if (vek::Succeeded(code)) return server;
    std::string text = "it cannot be reached by other processes, ";
    vek::AppendResult(text, code);
    throw std::runtime_error(text);
}

// Tells whether a process runs in the folder. A malformed file names none and will be replaced.
bool IsServed(const RunFolder& folder) noexcept {
    try {
        return folder.Running().has_value();
    } catch (...) {
        return false;
    }
}

void ServeUntilStopped(const ProductOptions& options, const WaitForSignal& wait, const Log& log) {
    const auto server = Serve(options, log);
    const remote::Endpoint address = server->endpoint();
    const std::uint32_t id = vek::platform::CurrentProcessId();
    const auto log_start = [&] {
        log("started: process " + std::to_string(id) + ", local id " +
            std::to_string(address.local_id) + ", port " + std::to_string(address.tcp_port));
    };
    if (!options.opens_processes) log("other processes are not opened");
    if (options.mode == ProgramMode::kScanner) {  // the service withdraws it
        ScannerNames(options.data).Publish({options.service_process, id, address.local_id});
        log_start();
        while (!wait(kScannersPause)) {
        }
    } else {
        const RunFolder folder(options.data);
        const RunningProduct self{id, ProcessStart(id).value_or(0), address.local_id,
                                  address.tcp_port};
        const Publication publication(folder, self);
        log_start();
        while (!wait(kLookAround) && !folder.StopRequested(self)) {
        }
    }
    log("stopping");
}

// Waits until the served objects are released: a process must not end under its threads. Gives the
// number of objects beyond `before` that are left; any is a fault.
std::uint32_t AwaitRelease(std::uint32_t before) {
    const auto deadline = std::chrono::steady_clock::now() + kLastChecks;
    std::uint32_t now = vek::LiveObjectCount();
    while (now > before && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        now = vek::LiveObjectCount();
    }
    return now > before ? now - before : 0;
}

}  // namespace

ExitCode RunProduct(const ProductOptions& options, const WaitForSignal& wait) {
    try {
        const bool is_scanner = options.mode == ProgramMode::kScanner;
        if (!is_scanner) std::filesystem::create_directories(options.data);
        const Log log = OpenLog(options.log);
        try {
            if (!is_scanner && IsServed(RunFolder(options.data))) {
                std::cerr << "a product runs in this folder already\n";
                return ExitCode::kRunsAlready;
            }
            const auto windows = PrepareSettingsWindows(RoadOf(options));
            const std::uint32_t before = vek::LiveObjectCount();
            ServeUntilStopped(options, wait, log);
            log("objects left: " + std::to_string(AwaitRelease(before)));
            log("stopped");
            return ExitCode::kStopped;
        } catch (...) {
            log("cannot start: " + vek::CurrentExceptionText());
            throw;
        }
    } catch (...) {
        std::cerr << vek::CurrentExceptionText() << '\n';
        return ExitCode::kCannotStart;
    }
}

ExitCode StopProduct(const std::filesystem::path& path, std::chrono::milliseconds patience) {
    const RunFolder folder(path);
    const std::optional<RunningProduct> product = folder.Running();
    if (!product) return ExitCode::kStopped;
    folder.RequestStop(*product);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (IsAlive(*product)) {
        if (std::chrono::steady_clock::now() >= deadline) return ExitCode::kDoesNotStop;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return ExitCode::kStopped;
}

}  // namespace reference_product
