#include "common/loader/product_loader.h"

#include <utility>

#include "common/loader/product_address.h"
#include "vek/core/current_exception.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::loader {
namespace {

namespace result = vek::result;
namespace trace = vek::trace;

bool IsAlive(const ProductConnection& connection) {
    return !connection.is_alive || connection.is_alive();
}

}  // namespace

ProductLoader::ProductLoader(product_info::LibraryEnvironment environment,
                             ProductConnector connector)
    : environment_(std::move(environment)), connector_(std::move(connector)) {}

vek::result_t ProductLoader::GetInterface(vek::interface_id_t id, void** object) noexcept {
    if (object == nullptr) return result::kInvalidArgument;
    *object = nullptr;
    if (id != IServiceLocator::kInterfaceId) return result::kNotFound;
    try {
        ConnectionPtr connection = Kept();
        if (!connection) connection = Keep(Connect());
        vek::RefPtr<IServiceLocator> locator = connection->locator;
        *object = locator.detach();
        return result::kOk;
    } catch (...) {
        const vek::result_t code = vek::CurrentExceptionResult();
        trace::WriteCurrentException(environment_.tracer,
                                     "Product is not reached: ", trace::level::kWarning);
        return code;
    }
}

// The connection that was made before, unless it is lost.
ProductLoader::ConnectionPtr ProductLoader::Kept() {
    ConnectionPtr kept;
    {
        const std::lock_guard guard(lock_);
        kept = kept_;
    }
    if (!kept || IsAlive(*kept)) return kept;

    trace::Write(environment_.tracer, trace::level::kRemoting, "Connection to the product is lost");
    const std::lock_guard guard(lock_);
    if (kept_ == kept) kept_.reset();
    return kept_;
}

// Of two threads that connect at once the later takes what the earlier has kept.
ProductLoader::ConnectionPtr ProductLoader::Keep(ConnectionPtr made) {
    const std::lock_guard guard(lock_);
    if (!kept_ || !IsAlive(*kept_)) kept_ = std::move(made);
    return kept_;
}

ProductLoader::ConnectionPtr ProductLoader::Connect() const {
    const product_info::RemoteAddress address = FindProduct(environment_);
    trace::Write(environment_.tracer, trace::level::kRemoting, "Connect to the product: process ",
                 address.process_id, ", local id ", address.local_id, ", port ", address.tcp_port);
    auto made = std::make_shared<ProductConnection>();
    const vek::result_t code = connector_(address, *made);
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (!made->locator) vek::ThrowResult(result::kUnexpected);
    return made;
}

}  // namespace plugins::loader
