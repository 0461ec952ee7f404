#include "common/loader/service_access.h"

#include <mutex>
#include <utility>

#include "vek/core/current_exception.h"

namespace plugins::loader {
namespace {

LoaderFactory& ProcessLoaderFactory() {
    static LoaderFactory factory;
    return factory;
}

}  // namespace

ServiceAccess::ServiceAccess(LoaderFactory factory) : factory_(std::move(factory)) {}

vek::result_t ServiceAccess::GetLoader(vek::RefPtr<ILoader>& loader) noexcept {
    try {
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
    } catch (...) {
        return vek::CurrentExceptionResult();
    }
}

vek::result_t ServiceAccess::GetService(vek::interface_id_t id, void** service) noexcept {
    *service = nullptr;
    vek::RefPtr<ILoader> loader;
    vek::result_t result = GetLoader(loader);
    if (vek::Failed(result)) return result;

    vek::RefPtr<IServiceLocator> locator;
    result = loader->GetInterface(IServiceLocator::kInterfaceId, locator.put_void());
    if (vek::Failed(result)) return result;
    if (!locator) return vek::result::kNotFound;

    result = locator->GetInterface(id, nullptr, service);
    if (vek::Succeeded(result) && *service == nullptr) return vek::result::kNotFound;
    return result;
}

ServiceAccess& ProcessServices() noexcept {
    static ServiceAccess services([](vek::RefPtr<ILoader>& loader) {
        const LoaderFactory& factory = ProcessLoaderFactory();
        return factory ? factory(loader) : vek::result::kNotInitialized;
    });
    return services;
}

void SetProcessLoaderFactory(LoaderFactory factory) { ProcessLoaderFactory() = std::move(factory); }

}  // namespace plugins::loader
