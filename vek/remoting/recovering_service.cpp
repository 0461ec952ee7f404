#include "vek/remoting/recovering_service.h"

#include <mutex>

#include "vek/core/current_exception.h"
#include "vek/remoting/local_interfaces.h"

namespace vek::remoting {

RecoveringService::RecoveringService(std::shared_ptr<ConnectionSource> source,
                                     interface_id_t id) noexcept
    : source_(std::move(source)), id_(id) {}

result_t RecoveringService::Reach(Place& place) noexcept {
    {
        const std::lock_guard guard(lock_);
        if (place_.connection && place_.connection->IsOpen()) {
            place = place_;
            return result::kOk;
        }
    }

    Place found;
    RefPtr<IServiceLocator> locator;
    result_t result = source_->Get(found.connection, locator);
    if (Failed(result)) return result;
    void* service = nullptr;
    result = locator->GetInterface(id_, nullptr, &service);
    if (Failed(result)) return result;
    auto owner = RefPtr<IObject>::Adopt(static_cast<IObject*>(service));
    RefPtr<IProxy> proxy;
    if (owner && Succeeded(owner->QueryInterface(IProxy::kInterfaceId, proxy.put_void()))) {
        found.handle = proxy->HandleIn(*found.connection);
    }
    if (found.handle == kNoHandle) return result::kNotFound;

    place = found;
    const std::lock_guard guard(lock_);
    std::swap(place_, found);  // what was there goes when the lock is no longer held
    std::swap(service_, owner);
    return result::kOk;
}

bool RecoveringService::Recover(const Place& place) noexcept { return !place.connection->IsOpen(); }

RecoveringLocator::RecoveringLocator(std::shared_ptr<ConnectionSource> source,
                                     std::shared_ptr<const ProxyStubFactories> factories) noexcept
    : source_(std::move(source)), factories_(std::move(factories)) {}

result_t RecoveringLocator::GetInterface(interface_id_t id, const void* reserved,
                                         void** service) noexcept {
    if (service == nullptr) return result::kInvalidArgument;
    *service = nullptr;
    if (reserved != nullptr) return result::kInvalidArgument;
    const ProxyStubFactory* factory = factories_->Find(id);
    if (factory == nullptr) return result::kNotSupported;
    try {
        auto object = std::make_shared<RecoveringService>(source_, id);
        Place place;
        const result_t result = object->Reach(place);
        if (Failed(result)) return result;
        factory->make_proxy(std::move(object), service);
        return result::kOk;
    } catch (...) {
        return CurrentExceptionResult();
    }
}

}  // namespace vek::remoting
