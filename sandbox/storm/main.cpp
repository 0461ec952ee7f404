// Six threads check mail while their product goes wrong in the middle of it, round after round: it
// is killed, it is stopped, or it lies from then on. Every call must return, no message may be
// lost, and nothing may be left behind.
//
//   mlxo_storm --rounds N --messages DIR --rules FILE
//
// DIR is a folder that ./demo has made. The program starts itself as that product:
//
//   mlxo_storm --product ID --rules FILE --way killed|stopped|lies --at PACKET

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include "common/remoting/remote_interfaces.h"
#include "mapi/property_tags.h"
#include "mlxo_version.h"
#include "processing/message_processor.h"
#include "sandbox/child_process/child_process.h"
#include "sandbox/demo/scenario/mail_shelf.h"
#include "sandbox/demo/scenario/reachable_product.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "vek/core/throw.h"
#include "vek/platform/thread.h"
#include "vek/remoting/call_wait.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/recovering_service.h"
#include "vek/remoting/server.h"

namespace {

using namespace std::chrono_literals;
namespace mail_processing = plugins::mail_processing;
namespace outlook = sandbox::outlook;
namespace remoting = vek::remoting;
namespace result = vek::result;
using Arguments = std::map<std::string, std::string, std::less<>>;
using vek::RefPtr;

constexpr int kThreads = 6;
constexpr std::array<const char*, 3> kWays{"killed", "stopped", "lies"};
// So much later comes what goes wrong from one round of a way to the next.
constexpr unsigned kStride = 7;
constexpr unsigned kHangSeconds = 60;
constexpr unsigned kLieSeconds = 2;

// Counts the packets of the product and spoils them.
class Trouble {
public:
    Trouble(std::string way, unsigned at) : way_(std::move(way)), at_(at), random_(at) {}

    // One packet is to be sent, with this call data.
    std::vector<std::byte> Spoil(std::span<const remote::bytes_t> pieces) {
        const std::lock_guard guard(lock_);
        std::vector<std::byte> data;
        for (const auto& piece : pieces) data.insert(data.end(), piece.begin(), piece.end());
        if (++packets_ < at_) return data;
        if (way_ == "killed") ::raise(SIGKILL);
        if (way_ == "stopped") ::raise(SIGSTOP);
        if (packets_ == at_) ::alarm(kLieSeconds);  // who lies on and on is not waited for
        if (packets_ == at_ || Below(4) == 0) Lie(data);
        return data;
    }

private:
    void Lie(std::vector<std::byte>& data) {
        if (Below(4) == 0) data.resize(Below(2 * data.size() + 8));
        for (std::size_t i = Below(4); i != 0 && !data.empty(); --i)
            data[Below(data.size())] = static_cast<std::byte>(Below(256));
    }
    std::size_t Below(std::size_t limit) { return random_() % limit; }

    const std::string way_;
    const unsigned at_;
    std::mutex lock_;
    unsigned packets_ = 0;
    std::mt19937 random_;
};

// What the product sends goes through its trouble: requests here, replies below.
class TroubledTransport final : public remote::Transport {
public:
    TroubledTransport(Trouble& trouble, std::shared_ptr<remote::Transport> inner)
        : trouble_(trouble), inner_(std::move(inner)) {}

    vek::result_t SendReceive(remote::RpcProtocolProcessorOut& request,
                              remote::RpcProtocolProcessorIn& reply) noexcept override {
        const auto data = trouble_.Spoil(request.call_data());
        const std::array<remote::bytes_t, 1> pieces{data};
        request.SetCallData(pieces);
        return inner_->SendReceive(request, reply);
    }
    bool SupportsFiles() const noexcept override { return false; }
    vek::result_t SendReceiveWithFiles(remote::RpcProtocolProcessorOut& request,
                                       remote::RpcProtocolProcessorIn& reply) noexcept override {
        return SendReceive(request, reply);
    }
    void Close(vek::result_t reason) noexcept override { inner_->Close(reason); }
    bool IsOpen() const noexcept override { return inner_->IsOpen(); }
    const remote::PeerIdentity& peer() const noexcept override { return inner_->peer(); }

private:
    Trouble& trouble_;
    const std::shared_ptr<remote::Transport> inner_;
};

class TroubledHandler final : public remote::RequestHandler {
public:
    TroubledHandler(Trouble& trouble, std::shared_ptr<remoting::Connection> inner)
        : trouble_(trouble), inner_(std::move(inner)) {}

    void HandleRequest(remote::RpcProtocolProcessorIn& request,
                       remote::ReplySender& reply) noexcept override {
        class Spoiled final : public remote::ReplySender {
        public:
            Spoiled(Trouble& trouble, remote::ReplySender& inner)
                : trouble_(trouble), inner_(inner) {}
            vek::result_t Send(remote::RpcProtocolProcessorOut& reply) noexcept override {
                const auto data = trouble_.Spoil(reply.call_data());
                const std::array<remote::bytes_t, 1> pieces{data};
                reply.SetCallData(pieces);
                return inner_.Send(reply);
            }

        private:
            Trouble& trouble_;
            remote::ReplySender& inner_;
        } spoiled(trouble_, reply);
        inner_->HandleRequest(request, spoiled);
    }
    void OnTransportClosed(vek::result_t reason) noexcept override {
        inner_->OnTransportClosed(reason);
    }

private:
    Trouble& trouble_;
    const std::shared_ptr<remoting::Connection> inner_;
};

// Until it is killed.
int BeTheProduct(const Arguments& arguments) {
    Trouble trouble(arguments.at("--way"), static_cast<unsigned>(std::stoul(arguments.at("--at"))));
    const auto product = sandbox::demo::MakeLocalProduct(arguments.at("--rules"));
    product->Start();
    RefPtr<plugins::ILoader> loader;
    vek::CheckResult(product->Loader(nullptr)(loader));
    RefPtr<vek::IServiceLocator> locator;
    vek::CheckResult(loader->GetInterface(vek::IServiceLocator::kInterfaceId, locator.put_void()));

    std::mutex lock;
    std::vector<std::shared_ptr<TroubledHandler>> peers;
    const auto accept = [&](std::shared_ptr<remote::Transport> transport) {
        remoting::ConnectionConfig config;
        config.factories = plugins::remoting::RemoteInterfaces();
        config.master = std::make_shared<remoting::SteadyMaster>(locator);
        std::shared_ptr<remoting::Connection> connection;
        vek::CheckResult(remoting::Connection::Create(std::move(config), connection));
        connection->Attach(std::make_shared<TroubledTransport>(trouble, std::move(transport)));
        const std::lock_guard guard(lock);
        return peers.emplace_back(std::make_shared<TroubledHandler>(trouble, connection));
    };
    std::unique_ptr<remote::Listener> listener;
    const auto id = static_cast<std::uint32_t>(std::stoul(arguments.at("--product")));
    vek::CheckResult(remote::Listen({id, 0}, accept, {}, listener));
    for (;;) ::pause();
}

// The road to the product of one round, for all threads.
class Road {
public:
    explicit Road(remote::Endpoint endpoint) : endpoint_(endpoint) {}
    ~Road() {
        if (connection_) connection_->Close(result::kOk);
        watch_->Close();
    }
    Road(const Road&) = delete;
    Road& operator=(const Road&) = delete;

    bool Connect() {
        const std::lock_guard guard(lock_);
        if (connection_ && connection_->IsOpen()) return true;
        if (gone_) return false;
        remoting::ConnectionConfig config;
        config.factories = plugins::remoting::RemoteInterfaces();
        config.watch = watch_;
        const bool again = connection_ != nullptr;
        connection_.reset();
        remote::TransportConfig transport;
        transport.connect_timeout = 300ms;
        const vek::result_t code =
            remoting::ConnectToServer(endpoint_, std::move(config), transport, connection_);
        gone_ = again && vek::Failed(code);
        return vek::Succeeded(code);
    }

    vek::result_t Locate(RefPtr<vek::IServiceLocator>& locator) {
        const remoting::LimitedCalls limited;
        if (!Connect()) return result::kNotReady;
        std::shared_ptr<remoting::Connection> connection;
        {
            const std::lock_guard guard(lock_);
            connection = connection_;
        }
        return connection ? connection->GetServiceLocator(locator) : result::kNotReady;
    }

private:
    const remote::Endpoint endpoint_;
    const std::shared_ptr<remoting::PeerWatch> watch_ =
        std::make_shared<remoting::PeerWatch>(remoting::PeerWatchTimes{50ms, 300ms, 100ms});
    std::mutex lock_;
    std::shared_ptr<remoting::Connection> connection_;
    bool gone_ = false;  // after a first connection no other could be made
};

class Loader final : public vek::ObjectImpl<plugins::ILoader> {
public:
    explicit Loader(Road& road) : road_(road) {}
    vek::result_t GetInterface(vek::interface_id_t, void** object) noexcept override {
        const auto locate = [&road = road_](auto& locator) { return road.Locate(locator); };
        RefPtr<vek::IServiceLocator> locator = vek::MakeObject<remoting::RecoveringLocator>(
            locate, plugins::remoting::RemoteInterfaces());
        *object = locator.detach();
        return result::kOk;
    }

private:
    Road& road_;
};

struct Counts {
    std::atomic<unsigned> checks{0}, whole{0}, lost{0};
};

// One thread's share of a round: each mail once.
void CheckMails(Road& road, outlook::MapiSubsystem& mapi,
                const std::vector<outlook::MessageRecord>& mails, Counts& counts) {
    struct Observer final : mail_processing::CheckObserver {
        void OnEnded(const mail_processing::ObservedCheck&, vek::result_t code) noexcept override {
            whole += vek::Succeeded(code);
        }
        unsigned whole = 0;
    } observer;
    plugins::loader::ServiceAccess services([&](RefPtr<plugins::ILoader>& loader) {
        loader = vek::MakeObject<Loader>(road);
        return result::kOk;
    });
    const auto functions =
        std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions());
    functions->initialize(nullptr);
    {
        const auto processor = mail_processing::MessageProcessor::Create(
            nullptr, functions, nullptr,
            {vek::platform::TheSystem(), vek::platform::TheClock(), services, nullptr, observer});
        for (const outlook::MessageRecord& mail : mails) {
            const std::string id = mapi.store().Add(mail);
            const remoting::EventScope event(300ms);
            processor->ProcessMessage(mapi.OpenMessage(id).get(), mail_processing::kIncoming,
                                      mail_processing::kForeground);
            ++counts.checks;
            if (!mapi.store().Find(id)) ++counts.lost;
            mapi.store().Remove(id);
        }
    }
    functions->uninitialize();
    counts.whole += observer.whole;
}

int MakeRounds(const Arguments& arguments) {
    outlook::MapiSubsystem mapi;
    std::vector<outlook::MessageRecord> mails;
    sandbox::demo::MailShelf shelf(arguments.at("--messages"));
    for (const std::string& name : shelf.names()) {
        mails.push_back(shelf.Find(name));
        mails.back().properties.Erase(
            plugins::mapi::tag::kEntryId);  // the store gives each its own
    }

    const auto rounds = static_cast<unsigned>(std::stoul(arguments.at("--rounds")));
    unsigned wrong = 0;
    for (unsigned round = 0; round != rounds; ++round) {
        const std::string way = kWays[round % kWays.size()];
        const std::string at =
            std::to_string(1 + round / static_cast<unsigned>(kWays.size()) * kStride);
        const std::uint32_t objects = vek::LiveObjectCount();
        ::alarm(kHangSeconds);
        const auto begun = std::chrono::steady_clock::now();
        Counts counts;
        {
            const remote::Endpoint endpoint{vek::platform::CurrentProcessId(), 0};
            const auto product =
                sandbox::StartProgram(sandbox::ProgramFolder() / "mlxo_storm",
                                      {"--product", std::to_string(endpoint.local_id), "--rules",
                                       arguments.at("--rules"), "--way", way, "--at", at});
            Road road(endpoint);
            while (!road.Connect()) std::this_thread::sleep_for(5ms);
            std::vector<std::thread> threads;
            for (int i = 0; i != kThreads; ++i)
                threads.emplace_back([&] { CheckMails(road, mapi, mails, counts); });
            for (std::thread& thread : threads) thread.join();
        }
        const std::size_t left = vek::LiveObjectCount() - objects + mapi.live_objects() +
                                 mapi.memory().LiveBuffers() + mapi.memory().BadFrees() +
                                 mapi.foreign_calls();
        std::cout << way << " at packet " << at << ": " << counts.whole << " of " << counts.checks
                  << " checks whole, messages lost: " << counts.lost << ", left behind: " << left
                  << ", in " << (std::chrono::steady_clock::now() - begun) / 1ms << " ms\n"
                  << std::flush;
        wrong += counts.lost != 0 || left != 0;
    }
    return wrong != 0;
}

}  // namespace

int main(int count, char** texts) {
    if (count == 2 && std::string(texts[1]) == "--version") {
        std::cout << "mlxo_storm " MLXO_VERSION "\n";
        return 0;
    }
    Arguments arguments;
    for (int i = 1; i + 1 < count; i += 2) arguments.emplace(texts[i], texts[i + 1]);
    const auto has = [&](const char* name) { return arguments.contains(name); };
    try {
        if (has("--product") && has("--rules") && has("--way") && has("--at"))
            return BeTheProduct(arguments);
        if (has("--rounds") && has("--messages") && has("--rules")) return MakeRounds(arguments);
        std::cerr << "mlxo_storm --rounds N --messages DIR --rules FILE\n";
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << '\n';
    }
    return 2;
}
