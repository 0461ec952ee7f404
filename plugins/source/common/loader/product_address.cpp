#include "common/loader/product_address.h"

#include "vek/core/throw.h"

namespace plugins::loader {

product_info::RemoteAddress FindProduct(const product_info::LibraryEnvironment& environment) {
    const product_info::ProductLibrary library(environment);
    const auto remote =
        library.Create<product_info::IRemoteObject>(product_info::kRemoteLoaderObject);
    product_info::RemoteAddress address{};
    const vek::result_t code = remote->GetAddress(&address);
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (address.local_id == 0 && address.tcp_port == 0) vek::ThrowResult(vek::result::kUnexpected);
    return address;
}

}  // namespace plugins::loader
