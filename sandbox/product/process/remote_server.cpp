#include "sandbox/product/process/remote_server.h"

namespace sandbox::product {

vek::result_t ServeRemotely(vek::RefPtr<plugins::IServiceLocator>, Log,
                            std::unique_ptr<ProductServer>&) {
    return vek::result::kNotImplemented;
}

}  // namespace sandbox::product
