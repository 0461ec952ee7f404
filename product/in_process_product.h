#pragma once

// The product in the plug-in's own process: loader and service locator without a border between.

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "private_include/common/mail_scanner.h"
#include "private_include/common/service_locator.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {

// Offers services by the id of their interface. It can play a product that does not answer: every
// lookup then gives the code set for the loader or for the locator. Any thread may call it.
class InProcessProduct final : public vek::ObjectImpl<plugins::ILoader, plugins::IServiceLocator> {
public:
    explicit InProcessProduct(vek::RefPtr<plugins::mail_processing::IMailScanner> scanner);

    // Adds a service, or replaces the one with that id.
    void Offer(vek::interface_id_t id, vek::RefPtr<vek::IObject> service);

    // Sets the code that lookups give; kOk makes the product answer again.
    void FailLoader(vek::result_t code) noexcept { loader_result_ = code; }
    void FailLocator(vek::result_t code) noexcept { locator_result_ = code; }

    // The number of lookups so far, failed ones included.
    std::uint32_t loader_lookups() const noexcept { return loader_lookups_; }
    std::uint32_t locator_lookups() const noexcept { return locator_lookups_; }

    // ILoader: gives the service locator, kNotFound for anything else.
    vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept override;

    // IServiceLocator: kNotFound for a service that is not offered.
    vek::result_t GetInterface(vek::interface_id_t id, const void* reserved,
                               void** service) noexcept override;

private:
    std::atomic<vek::result_t> loader_result_{vek::result::kOk};
    std::atomic<vek::result_t> locator_result_{vek::result::kOk};
    std::atomic<std::uint32_t> loader_lookups_{0};
    std::atomic<std::uint32_t> locator_lookups_{0};
    std::mutex services_lock_;
    std::map<vek::interface_id_t, vek::RefPtr<vek::IObject>> services_;
};

}  // namespace reference_product
