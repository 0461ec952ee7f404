#pragma once

// The one lookup of the product's services that every caller uses, and the process's loader behind
// it.

#include <functional>

#include "private_include/common/service_locator.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/lock.h"

namespace plugins::loader {

// Creates the loader. Makes no call to the product: the loader connects when it is first asked.
using LoaderFactory = std::function<vek::result_t(vek::RefPtr<ILoader>& loader)>;

// Holds the loader, which is created on first use and kept. May be called from any thread; the
// lock guards the creation of the loader and is never held during a call to the product.
class ServiceAccess {
public:
    explicit ServiceAccess(LoaderFactory factory);

    // Gives the product's service `id` with a reference, or the code of the step that failed: the
    // product cannot be reached now, and a later call may succeed.
    vek::result_t GetService(vek::interface_id_t id, void** service) noexcept;

    // The same for a caller that cannot go on without: raises vek::CheckResultFailedException.
    template <class Interface>
    vek::RefPtr<Interface> RequireService() {
        return vek::RefPtr<Interface>::Adopt(
            static_cast<Interface*>(RequireService(Interface::kInterfaceId)));
    }

private:
    void* RequireService(vek::interface_id_t id);
    vek::result_t GetLoader(vek::RefPtr<ILoader>& loader) noexcept;

    LoaderFactory factory_;
    vek::platform::RecursiveLock lock_;
    vek::RefPtr<ILoader> loader_;
};

// The process's own, kept until the module unloads. Its loader comes from the factory set below;
// without one every lookup gives kNotInitialized.
ServiceAccess& ProcessServices() noexcept;

// Says how this process makes its loader. To be called while the module starts, before the first
// lookup.
void SetProcessLoaderFactory(LoaderFactory factory);

}  // namespace plugins::loader
