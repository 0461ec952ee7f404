#include "module/module_life.h"

#include <chrono>
#include <memory>
#include <mutex>

#include "com/class_factory_win32.h"
#include "common/common/plugins_settings_watcher.h"
#include "common/loader/product_loader.h"
#include "common/product_info/product_info.h"
#include "common/product_info/product_info_watcher_impl.h"
#include "mlxo_version.h"
#include "remote/rpc/server_win32.h"
#include "vek/core/border.h"
#include "vek/core/never_destroyed.h"
#include "vek/core/object.h"
#include "vek/platform/lock.h"
#include "vek/trace/file_tracer.h"
#include "vek/trace/traced_border.h"

namespace plugins::dll {
namespace {

// Who follows the registry. What cannot be made is null, and the rest works without.
class Watch {
public:
    Watch() noexcept;

    const std::shared_ptr<product_info::ProductInfoWatcher>& product() const noexcept {
        return product_;
    }
    const vek::RefPtr<ISettingsWatcher>& policy() const noexcept { return policy_; }

private:
    // The thread goes last, when nobody subscribes any more.
    std::unique_ptr<common::WatchThread> thread_;
    std::shared_ptr<product_info::ProductInfoWatcher> product_;
    vek::RefPtr<ISettingsWatcher> policy_;
};

struct Life {
    // Held while it waits for threads, which do not take it.
    vek::platform::Lock lock;
    bool runs = false;
    bool has_waited = false;  // for a runtime that serves somebody still

    // Guards `watch`; never held during a call out.
    vek::platform::Lock watch_lock;
    std::unique_ptr<const Watch> watch;
};

Life& TheLife() noexcept {
    static vek::NeverDestroyed<Life> life;
    return *life;
}

// A runtime that still serves somebody is asked again with the next question, but not waited for
// again: hosts ask on the thread that draws their windows, and a silent product may hold it for
// long.
constexpr std::chrono::milliseconds kUnregisterPatience{500};

vek::trace::FileTracerConfig TraceConfig() {
    vek::trace::FileTracerConfig config;
    config.name = "mlxo";
    config.version = MLXO_VERSION;
    product_info::ReadTraceValues(product_info::InstalledProduct(), config);
    return config;
}

vek::trace::TracerPtr OpenTrace() {
    const vek::trace::FileTracerConfig config = TraceConfig();
    return config.folder ? vek::trace::OpenFileTracer(config) : nullptr;
}

Watch::Watch() noexcept {
    const vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    const auto make = [&](const auto& body) {
        static_cast<void>(vek::trace::TracedBorder(tracer, body, "The registry is not followed: "));
    };
    make([&] {
        thread_ = std::make_unique<common::WatchThread>(
            vek::MakeObject<common::RegistryWatcher>(tracer), tracer);
    });
    if (!thread_) return;
    make([&] {
        product_ = std::make_shared<product_info::ProductInfoWatcher>(
            thread_->watcher(), product_info::LibraryEnvironment{},
            [] { loader::ProcessServices().Forget(); });
    });
    make([&] {
        policy_ = vek::MakeObject<common::PluginsSettingsWatcher>(thread_->watcher(),
                                                                  product_info::PolicyKey());
    });
}

// A thread that connects to the product may be waited for with the other lock.
void OnAttempt() noexcept {
    Life& life = TheLife();
    std::shared_ptr<product_info::ProductInfoWatcher> product;
    {
        const std::lock_guard guard(life.watch_lock);
        if (life.watch) product = life.watch->product();
    }
    if (product) product->OnAttempt();
}

// Both with the first lock.

void StartWatch(Life& life) {
    if (life.watch) return;
    auto made = std::make_unique<const Watch>();
    const std::lock_guard guard(life.watch_lock);
    life.watch = std::move(made);
}

void EndWatch(Life& life) noexcept {
    std::unique_ptr<const Watch> old;  // goes after the lock
    const std::lock_guard guard(life.watch_lock);
    old = std::move(life.watch);
}

// Nobody is left who talks to the product or wants to know of it.
void EndWork() noexcept {
    Life& life = TheLife();
    const std::lock_guard guard(life.lock);
    if (com::InstanceMark::Living() != 0) return;  // there is again
    EndWatch(life);
    loader::ProcessServices().End();
}

}  // namespace

void StartModule() noexcept {
    Life& life = TheLife();
    const std::lock_guard guard(life.lock);
    static_cast<void>(vek::AtBorder([&] {
        if (!life.runs) {
            vek::trace::SetProcessTracer(OpenTrace());
            loader::SetProcessLoaderFactory(
                loader::ProductLoaderFactory({.on_attempt = OnAttempt}));
            com::InstanceMark::OnLast(EndWork);
            life.runs = true;
        }
        StartWatch(life);
        life.has_waited = false;
    }));
}

vek::RefPtr<ISettingsWatcher> PolicyWatcher() noexcept {
    Life& life = TheLife();
    const std::lock_guard guard(life.watch_lock);
    return life.watch ? life.watch->policy() : nullptr;
}

std::optional<std::string> TraceFolder() { return TraceConfig().folder; }

bool EndModule() noexcept {
    Life& life = TheLife();
    const std::lock_guard guard(life.lock);
    if (com::ServerLockCount() != 0 || com::InstanceMark::Count() != 0) return false;
    if (life.runs) {
        EndWatch(life);
        loader::ProcessServices().Drop();
        product_info::TheLibraryKeeper()->Drop();
    }
    if (vek::LiveObjectCount() != 0) return false;
    const auto patience =
        std::exchange(life.has_waited, true) ? std::chrono::milliseconds() : kUnregisterPatience;
    if (!remote::RpcServer::Get().AwaitUnregistered(patience)) return false;
    // Both hold the trace.
    loader::SetProcessLoaderFactory(nullptr);
    vek::trace::SetProcessTracer(nullptr);
    life.runs = false;
    return true;
}

}  // namespace plugins::dll
