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

// What a loader also is when a road leads to another process. Any thread may call Hasten.
struct IProductRoad : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x5A61C7E4;

    // This process is about to end: a product that does not answer is not waited for as long.
    virtual void Hasten() noexcept = 0;
    // The product is another one now, or none: later calls go to what is there then, those under
    // way are left to end. Does not wait; any thread may call it.
    virtual void Forget() noexcept = 0;
    // Ends the connection and every thread that it takes: calls to the product fail. A later lookup
    // makes another. Waits for the threads, for one that connects a second at most. Not to be
    // called twice at once.
    virtual void End() noexcept = 0;

protected:
    ~IProductRoad() = default;
};

// Holds the loader, which is created on first use and kept. May be called from any thread; the
// lock guards the creation of the loader and is never held during a call to the product.
class ServiceAccess {
public:
    explicit ServiceAccess(LoaderFactory factory);
    // As End.
    ~ServiceAccess() { End(); }
    ServiceAccess(const ServiceAccess&) = delete;
    ServiceAccess& operator=(const ServiceAccess&) = delete;

    // Gives the product's service `id` with a reference, or the code of the step that failed: the
    // product cannot be reached now, and a later call may succeed.
    vek::result_t GetService(vek::interface_id_t id, void** service) noexcept;

    // The same for a caller that cannot go on without: raises vek::CheckResultFailedException.
    template <class Interface>
    vek::RefPtr<Interface> RequireService() {
        return vek::RefPtr<Interface>::Adopt(
            static_cast<Interface*>(RequireService(Interface::kInterfaceId)));
    }

    // As IProductRoad; nothing without a loader, or when it is none. Of several that call End or
    // Drop at once each waits for the one before.
    void Hasten() noexcept;
    void Forget() noexcept;
    void End() noexcept;

    // As End, and lets go of the loader; a later lookup creates another.
    void Drop() noexcept;

private:
    void EndRoad() noexcept;
    vek::RefPtr<IProductRoad> Road() noexcept;
    void* RequireService(vek::interface_id_t id);
    vek::result_t GetLoader(vek::RefPtr<ILoader>& loader) noexcept;

    LoaderFactory factory_;
    vek::platform::Lock ending_;  // of who ends the road; taken before lock_
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
