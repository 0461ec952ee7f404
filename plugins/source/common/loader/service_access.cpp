#include "common/loader/service_access.h"

#include <mutex>
#include <utility>

#include "vek/core/border.h"
#include "vek/core/never_destroyed.h"
#include "vek/core/throw.h"

namespace plugins::loader {
namespace {

LoaderFactory& ProcessLoaderFactory() {
    static vek::NeverDestroyed<LoaderFactory> factory;
    return *factory;
}

}  // namespace

ServiceAccess::ServiceAccess(LoaderFactory factory) : factory_(std::move(factory)) {}

vek::result_t ServiceAccess::GetLoader(vek::RefPtr<ILoader>& loader) noexcept {
    return vek::AtBorder([&] {
        const std::lock_guard guard(lock_);
        if (!loader_) {
            vek::RefPtr<ILoader> created;
            const vek::result_t result = factory_(created);
            if (vek::Failed(result)) return result;
            if (!created) return vek::result::kNotInitialized;
            loader_ = std::move(created);
        }
        loader = loader_;
        return vek::result::kOk;
    });
}

vek::result_t ServiceAccess::GetService(vek::interface_id_t id, void** service) noexcept {
    *service = nullptr;
    vek::RefPtr<ILoader> loader;
    vek::result_t result = GetLoader(loader);
    if (vek::Failed(result)) return result;

    // Only a success gives a reference, whatever a failure leaves behind.
    void* found = nullptr;
    result = loader->GetInterface(IServiceLocator::kInterfaceId, &found);
    if (vek::Failed(result)) return result;
    if (found == nullptr) return vek::result::kNotFound;
    const auto locator = vek::RefPtr<IServiceLocator>::Adopt(static_cast<IServiceLocator*>(found));

    found = nullptr;
    result = locator->GetInterface(id, nullptr, &found);
    if (vek::Failed(result)) return result;
    if (found == nullptr) return vek::result::kNotFound;
    *service = found;
    return result;
}

void* ServiceAccess::RequireService(vek::interface_id_t id) {
    void* service = nullptr;
    vek::CheckResult(GetService(id, &service));
    return service;
}

vek::RefPtr<IProductRoad> ServiceAccess::Road() noexcept {
    vek::RefPtr<ILoader> loader;
    {
        const std::lock_guard guard(lock_);
        loader = loader_;
    }
    vek::RefPtr<IProductRoad> road;
    if (loader)
        static_cast<void>(loader->QueryInterface(IProductRoad::kInterfaceId, road.put_void()));
    return road;
}

void ServiceAccess::Hasten() noexcept {
    if (const auto road = Road()) road->Hasten();
}

void ServiceAccess::Forget() noexcept {
    if (const auto road = Road()) road->Forget();
}

// With `ending_`.
void ServiceAccess::EndRoad() noexcept {
    if (const auto road = Road()) road->End();
}

void ServiceAccess::End() noexcept {
    const std::lock_guard one_at_a_time(ending_);
    EndRoad();
}

void ServiceAccess::Drop() noexcept {
    vek::RefPtr<ILoader> loader;  // goes after the locks
    const std::lock_guard one_at_a_time(ending_);
    EndRoad();
    const std::lock_guard guard(lock_);
    loader = std::move(loader_);
}

ServiceAccess& ProcessServices() noexcept {
    // Never destroyed: by the time the module goes, the loader can no longer say goodbye to the
    // product without waiting for threads that the system holds back.
    struct Process {
        ServiceAccess services{[](vek::RefPtr<ILoader>& loader) {
            const LoaderFactory& factory = ProcessLoaderFactory();
            return factory ? factory(loader) : vek::result::kNotInitialized;
        }};
    };
    static vek::NeverDestroyed<Process> process;
    return (*process).services;
}

void SetProcessLoaderFactory(LoaderFactory factory) { ProcessLoaderFactory() = std::move(factory); }

}  // namespace plugins::loader
