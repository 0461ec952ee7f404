#pragma once

// How the product's process lets others reach its services.

#include <functional>
#include <memory>

#include "private_include/common/product_library.h"
#include "private_include/common/service_locator.h"
#include "product/product_log.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/result.h"

namespace reference_product {

// Serves until it is destroyed: then connections are closed and calls are ended.
class ProductServer {
public:
    virtual ~ProductServer() = default;

    virtual plugins::product_info::RemoteAddress address() const = 0;
};

// Lets processes of this user reach `locator`. `log` is told who comes and goes; it outlives the
// server.
using Serve = std::function<vek::result_t(vek::RefPtr<plugins::IServiceLocator> locator, Log log,
                                          std::unique_ptr<ProductServer>& server)>;

}  // namespace reference_product
