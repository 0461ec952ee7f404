#include "product/in_process_product.h"

#include <utility>

namespace reference_product {

InProcessProduct::InProcessProduct(vek::RefPtr<plugins::mail_processing::IMailScanner> scanner) {
    Offer(plugins::mail_processing::IMailScanner::kInterfaceId, std::move(scanner));
}

void InProcessProduct::Offer(vek::interface_id_t id, vek::RefPtr<vek::IObject> service) {
    const std::lock_guard lock(services_lock_);
    // The old service goes with the argument, once the lock is left.
    std::swap(services_[id], service);
}

vek::result_t InProcessProduct::GetInterface(vek::interface_id_t id, void** object) noexcept {
    ++loader_lookups_;
    if (object == nullptr) return vek::result::kInvalidArgument;
    *object = nullptr;
    if (const vek::result_t code = loader_result_; vek::Failed(code)) return code;
    if (id != plugins::IServiceLocator::kInterfaceId) return vek::result::kNotFound;
    return QueryInterface(id, object);
}

vek::result_t InProcessProduct::GetInterface(vek::interface_id_t id, const void* /*reserved*/,
                                             void** service) noexcept {
    ++locator_lookups_;
    if (service == nullptr) return vek::result::kInvalidArgument;
    *service = nullptr;
    if (const vek::result_t code = locator_result_; vek::Failed(code)) return code;
    vek::RefPtr<vek::IObject> offered;
    {
        const std::lock_guard lock(services_lock_);
        const auto entry = services_.find(id);
        if (entry != services_.end()) offered = entry->second;
    }
    return offered ? offered->QueryInterface(id, service) : vek::result::kNotFound;
}

}  // namespace reference_product
