#include "vek/remoting/recovering_service.h"

#include <mutex>

#include "vek/core/current_exception.h"
#include "vek/remoting/call_wait.h"
#include "vek/remoting/connection.h"
#include "vek/remoting/local_interfaces.h"

namespace vek::remoting {

RecoveringService::RecoveringService(LocatorSource source, interface_id_t id)
    : source_(std::move(source)), id_(id) {}

result_t RecoveringService::Resolve(StubAddress& address) noexcept {
    {
        const std::lock_guard guard(lock_);
        if (address_.connection && address_.connection->IsCurrent()) {
            address = address_;
            return result::kOk;
        }
    }
    RefPtr<IObject> service;
    const result_t result = Find(service);
    return Failed(result) ? result : Adopt(std::move(service), address);
}

result_t RecoveringService::Find(RefPtr<IObject>& service) const noexcept {
    const LimitedCalls limited;
    RefPtr<IServiceLocator> locator;
    const result_t result = source_(locator);
    return Failed(result) ? result : locator->GetInterface(id_, nullptr, service.put_void());
}

result_t RecoveringService::Adopt(RefPtr<IObject> service, StubAddress& address) noexcept {
    RefPtr<IProxy> proxy;
    if (!service || Failed(service->QueryInterface(IProxy::kInterfaceId, proxy.put_void()))) {
        return result::kNotSupported;
    }
    StubAddress found;
    const result_t result = proxy->Resolve(found);
    if (Failed(result)) return result;
    const std::lock_guard guard(lock_);
    // Of two that recover at once the later takes what the earlier has kept, whose stub is in use.
    if (!address_.connection || !address_.connection->IsCurrent()) {
        std::swap(address_, found);  // what was there goes when the lock is no longer held
        std::swap(service_, service);
    }
    address = address_;
    return result::kOk;
}

bool RecoveringService::Recover(const StubAddress& address) noexcept {
    return !address.connection->IsOpen();
}

RecoveringLocator::RecoveringLocator(LocatorSource source,
                                     std::shared_ptr<const ProxyStubFactories> factories)
    : source_(std::move(source)), factories_(std::move(factories)) {}

result_t RecoveringLocator::GetInterface(interface_id_t id, const void* reserved,
                                         void** service) noexcept {
    if (service == nullptr) return result::kInvalidArgument;
    *service = nullptr;
    if (reserved != nullptr) return result::kInvalidArgument;
    try {
        auto object = std::make_shared<RecoveringService>(source_, id);
        RefPtr<IObject> found;
        result_t result = object->Find(found);
        if (Failed(result)) return result;
        const ProxyStubFactory* factory = factories_->Find(id);
        if (factory == nullptr) return result::kNotSupported;
        StubAddress address;
        result = object->Adopt(found, address);
        if (result == result::kNotSupported) {
            *service = found.detach();
            return result::kOk;
        }
        if (Succeeded(result)) factory->make_proxy(std::move(object), service);
        return result;
    } catch (...) {
        return CurrentExceptionResult();
    }
}

}  // namespace vek::remoting
