#include "common/loader/product_loader.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "common/remoting/remote_interfaces.h"
#include "private_include/common/product_settings.h"
#include "private_include/common/user_language.h"
#include "vek/core/throw.h"
#include "vek/platform/clock.h"
#include "vek/platform/process.h"
#include "vek/platform/system.h"
#include "vek/platform/user_languages.h"
#include "vek/remoting/call_wait.h"
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

// Connects over the remoting.
struct Remote {
    trace::TracerPtr tracer;
    InterfacesPtr interfaces;

    vek::result_t Connect(const product_info::ProductProcess& process, const PeerWatchPtr& watch,
                          std::shared_ptr<vek::remoting::Connection>& connection,
                          vek::RefPtr<IServiceLocator>& locator) const {
        const vek::remoting::LimitedCalls limited;
        vek::remoting::ConnectionConfig config;
        config.factories = interfaces;
        config.tracer = tracer;
        config.watch = watch;
        remote::TransportConfig transport;
        transport.tracer = tracer;
        transport.peer_account = process.account;
        const std::uint32_t id = process.address.process_id;
        transport.peer_process = id;
        transport.peer_check =
            [id, image = process.account.empty() ? process.image : ""](std::uint32_t process_id) {
                return (id == 0 || process_id == id) && RunsImage(process_id, image);
            };
        transport.connect_timeout = limited.left();
        transport.gives_up = [watch, begun = vek::platform::TheClock().AwakeTime()] {
            return !watch->IsPatient(begun);
        };
        const vek::result_t connected =
            vek::remoting::ConnectToServer({process.address.local_id, process.address.tcp_port},
                                           std::move(config), transport, connection);
        return vek::Failed(connected) ? connected : connection->GetServiceLocator(locator);
    }
};

// As many of the first languages as a product takes.
std::string_view FirstLanguages(std::string_view languages) {
    if (languages.size() <= product::kLongestUserLanguages) return languages;
    const std::size_t end = languages.rfind(';', product::kLongestUserLanguages);
    return end == languages.npos ? std::string_view() : languages.substr(0, end);
}

// Tells a product in which languages this process's user reads, and waits `most` for it at most.
// One that does not care is as good.
void TellLanguages(IServiceLocator& locator, std::string_view languages,
                   std::chrono::milliseconds most) {
    const vek::remoting::LimitedCalls limited(most);
    vek::RefPtr<product::IUserLanguage> service;
    if (vek::Succeeded(locator.GetInterface(product::IUserLanguage::kInterfaceId, nullptr,
                                            service.put_void())))
        static_cast<void>(service->SetUserLanguages(FirstLanguages(languages)));
}

}  // namespace

ProductLoader::ProductLoader(product_info::LibraryEnvironment environment,
                             ProductConnector connector, LoaderTimes times,
                             InterfacesPtr interfaces)
    : environment_(std::move(environment)),
      connector_(std::move(connector)),
      times_(times),
      interfaces_(std::move(interfaces)),
      watch_(std::make_shared<vek::remoting::PeerWatch>(times.watch)) {}

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
            vek::MakeObject<vek::remoting::RecoveringLocator>(locate, interfaces_);
        *object = locator.detach();
        return result::kOk;
    });
}

vek::result_t ProductLoader::Locate(vek::RefPtr<IServiceLocator>& locator) noexcept {
    return trace::TracedBorder(
        environment_.tracer,
        [&] {
            ConnectionPtr connection = Kept();
            if (!connection) connection = Keep(ConnectInTime());
            locator = connection->locator;
        },
        "Product is not reached: ");
}

// Gives the connection that was made before; null when there is none or it is lost. A lost one goes
// with `kept`, after the lock: its end calls out and waits. Raises when it is left to the loader's
// thread to connect.
ProductLoader::ConnectionPtr ProductLoader::Kept() {
    ConnectionPtr kept;
    {
        const std::lock_guard guard(lock_);
        if (retrying_) vek::ThrowResult(result::kRemoteCallFailed);
        kept = kept_;
    }
    if (!kept || IsAlive(*kept)) return kept;

    trace::Write(environment_.tracer, trace::level::kDetail, "Connection to the product is lost");
    const bool was_silent = kept->was_silent && kept->was_silent();
    const std::lock_guard guard(lock_);
    if (kept_ == kept) {
        kept_.reset();
        if (was_silent) StartRetrying();
    }
    if (retrying_) vek::ThrowResult(result::kRemoteCallFailed);
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

ProductLoader::ConnectionPtr ProductLoader::ConnectInTime() {
    const vek::remoting::LimitedCalls limited;
    const bool had_time = !limited.IsOver();
    try {
        return Connect();
    } catch (...) {
        const std::lock_guard guard(lock_);
        if (had_time && limited.IsOver()) StartRetrying();
        throw;
    }
}

ProductLoader::ConnectionPtr ProductLoader::Connect() const {
    const product_info::ProductProcess process = product_info::FindProduct(environment_);
    const product_info::RemoteAddress& address = process.address;
    trace::Write(environment_.tracer, trace::level::kDetail, "Connect to the product: process ",
                 address.process_id, ", local id ", address.local_id, ", port ", address.tcp_port);
    auto made = std::make_shared<ProductConnection>();
    const vek::result_t code = connector_(process, watch_, *made);
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (!made->locator) vek::ThrowResult(result::kUnexpected);
    return made;
}

// With the lock. Without a thread the next call connects itself. One before has done its last, and
// ends by itself.
void ProductLoader::StartRetrying() noexcept {
    if (retrying_) return;
    trace::Write(environment_.tracer, trace::level::kWarning,
                 "The product does not answer. It is tried again in the background");
    static_cast<void>(vek::AtBorder([this] {
        retry_thread_ =
            vek::platform::TheSystem().StartThread([self = vek::RefPtr<ProductLoader>::Share(this),
                                                    round = round_] { self->Retry(round); });
        retrying_ = retry_thread_ != nullptr;
    }));
}

void ProductLoader::Retry(std::uint32_t round) noexcept {
    while (PauseRetrying(round) && !TryAgain(round)) {
    }
}

// False when the loader was ended.
bool ProductLoader::PauseRetrying(std::uint32_t round) noexcept {
    std::unique_lock guard(lock_);
    return !ended_.wait_for(guard, times_.retry_pause, [&] { return round_ != round; });
}

// A product that says who it is and then nothing more is not back: it has to answer for its
// settings, too, whatever it answers.
bool ProductLoader::TryAgain(std::uint32_t round) noexcept {
    const vek::result_t tried = vek::AtBorder([&] {
        const vek::remoting::EventScope event(times_.retry_limit);
        const vek::remoting::LimitedCalls limited;
        ConnectionPtr made = Connect();
        vek::RefPtr<product::IProductSettings> settings;
        product::MailPluginSettings record;
        if (vek::Succeeded(made->locator->GetInterface(product::IProductSettings::kInterfaceId,
                                                       nullptr, settings.put_void()))) {
            static_cast<void>(settings->GetSettings(record));
        }
        if (!IsAlive(*made)) return result::kRemoteCallFailed;
        const std::lock_guard guard(lock_);
        if (round_ != round) return result::kRemoteCallFailed;  // `made` goes behind the lock
        kept_.swap(made);   // so does one that was kept meanwhile
        retrying_ = false;  // the last that this thread does
        return result::kOk;
    });
    return vek::Succeeded(tried);
}

// The next call lets it go: its end waits.
void ProductLoader::Forget() noexcept {
    ConnectionPtr kept;
    {
        const std::lock_guard guard(lock_);
        kept = kept_;
    }
    if (kept && kept->retire) kept->retire();
}

// A thread that is in a call which the system does not give up is not waited for without end; it
// ends by itself then, and counts as an object of the module meanwhile.
void ProductLoader::End() noexcept {
    watch_->Hasten();
    ConnectionPtr kept;
    std::unique_ptr<vek::platform::Thread> retry_thread;
    {
        const std::lock_guard guard(lock_);
        ++round_;
        retrying_ = false;
        kept = std::move(kept_);
        retry_thread = std::move(retry_thread_);
        ended_.notify_all();
    }
    if (retry_thread) retry_thread->Wait(2 * times_.watch.lose_at_end);
    if (kept && kept->end) kept->end();
    kept.reset();
    watch_->Stop();
}

ProductConnector RemoteConnector(trace::TracerPtr tracer, InterfacesPtr interfaces) {
    return [remote = Remote{std::move(tracer), std::move(interfaces)}](
               const product_info::ProductProcess& process, const PeerWatchPtr& watch,
               ProductConnection& product) {
        const vek::remoting::LimitedCalls limited;
        std::shared_ptr<vek::remoting::Connection> connection;
        vek::result_t code = remote.Connect(process, watch, connection, product.locator);
        const std::string languages = vek::platform::UserLanguages();
        if (vek::Succeeded(code) && product.locator && !languages.empty()) {
            TellLanguages(*product.locator, languages, limited.left() / 3);
            // A product that falls silent at that has mail checked all the same.
            if (connection->was_silent())
                code = remote.Connect(process, watch, connection, product.locator);
        }
        if (vek::Failed(code)) return code;
        product.is_alive = [connection] { return connection->IsCurrent(); };
        product.was_silent = [connection] { return connection->was_silent(); };
        product.retire = [connection] { connection->Retire(); };
        product.end = [connection] { connection->Close(result::kOk); };
        return code;
    };
}

LoaderFactory ProductLoaderFactory(product_info::LibraryEnvironment environment, LoaderTimes times,
                                   InterfacesPtr interfaces) {
    return [environment = std::move(environment), times,
            interfaces = std::move(interfaces)](vek::RefPtr<ILoader>& loader) {
        loader = vek::MakeObject<ProductLoader>(
            environment, RemoteConnector(environment.tracer, interfaces), times, interfaces);
        return result::kOk;
    };
}

}  // namespace plugins::loader
