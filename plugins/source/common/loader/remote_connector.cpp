#include "common/loader/remote_connector.h"

namespace plugins::loader {

ProductConnector RemoteConnector(vek::trace::TracerPtr) {
    return [](const product_info::RemoteAddress&, ProductConnection&) {
        return vek::result::kNotImplemented;
    };
}

}  // namespace plugins::loader
