#pragma once

#include "sandbox/product/product_server.h"

namespace sandbox::product {

// A Serve over the remoting: at the local id of this process.
vek::result_t ServeRemotely(vek::RefPtr<plugins::IServiceLocator> locator, Log log,
                            std::unique_ptr<ProductServer>& server);

}  // namespace sandbox::product
