#pragma once

// The way from other processes to the product's services.

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

    // Where other processes connect.
    virtual plugins::product_info::RemoteAddress address() const = 0;
};

// A function that starts a server: processes of this user reach `locator` through it. The server
// keeps `log` and tells it who comes and goes. Gives kOk and the server, or why there is none.
using Serve = std::function<vek::result_t(vek::RefPtr<plugins::IServiceLocator> locator, Log log,
                                          std::unique_ptr<ProductServer>& server)>;

// A Serve over the remoting, at the local id of this process.
vek::result_t ServeRemotely(vek::RefPtr<plugins::IServiceLocator> locator, Log log,
                            std::unique_ptr<ProductServer>& server);

}  // namespace reference_product
