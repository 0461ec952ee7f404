#pragma once

#include "product/product_server.h"

namespace reference_product {

// A Serve over the remoting: at the local id of this process.
vek::result_t ServeRemotely(vek::RefPtr<plugins::IServiceLocator> locator, Log log,
                            std::unique_ptr<ProductServer>& server);

}  // namespace reference_product
