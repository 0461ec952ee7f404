#include "module/module_life.h"

#include <chrono>
#include <mutex>

#include "com/class_factory_win32.h"
#include "common/loader/product_loader.h"
#include "common/product_info/product_info.h"
#include "mlxo_version.h"
#include "remote/rpc/server_win32.h"
#include "vek/core/border.h"
#include "vek/core/never_destroyed.h"
#include "vek/core/object.h"
#include "vek/platform/lock.h"
#include "vek/trace/file_tracer.h"

namespace plugins::dll {
namespace {

struct Life {
    // Held while it waits for threads, which do not take it.
    vek::platform::Lock lock;
    bool runs = false;
};

Life& TheLife() noexcept {
    static vek::NeverDestroyed<Life> life;
    return *life;
}

// A runtime that still serves somebody is asked again with the next question.
constexpr std::chrono::milliseconds kUnregisterPatience{500};

vek::trace::TracerPtr OpenTrace() {
    vek::trace::FileTracerConfig config;
    config.name = "mlxo";
    config.version = MLXO_VERSION;
    product_info::ReadTraceValues(product_info::InstalledProduct(), config);
    return config.folder ? vek::trace::OpenFileTracer(config) : nullptr;
}

// Nobody is left who talks to the product.
void EndRoad() noexcept { loader::ProcessServices().End(); }

}  // namespace

void StartModule() noexcept {
    Life& life = TheLife();
    const std::lock_guard guard(life.lock);
    if (life.runs) return;
    static_cast<void>(vek::AtBorder([&] {
        vek::trace::SetProcessTracer(OpenTrace());
        loader::SetProcessLoaderFactory(loader::ProductLoaderFactory({}));
        com::InstanceMark::OnLast(EndRoad);
        life.runs = true;
    }));
}

bool EndModule() noexcept {
    Life& life = TheLife();
    const std::lock_guard guard(life.lock);
    if (com::ServerLockCount() != 0 || com::InstanceMark::Count() != 0) return false;
    if (life.runs) {
        loader::ProcessServices().Drop();
        product_info::TheLibraryKeeper()->Drop();
    }
    if (vek::LiveObjectCount() != 0 ||
        !remote::RpcServer::Get().AwaitUnregistered(kUnregisterPatience))
        return false;
    // Both hold the trace.
    loader::SetProcessLoaderFactory(nullptr);
    vek::trace::SetProcessTracer(nullptr);
    life.runs = false;
    return true;
}

}  // namespace plugins::dll
