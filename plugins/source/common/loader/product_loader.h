#pragma once

// The loader that finds the installed product and connects to its process.

#include <functional>
#include <memory>
#include <mutex>

#include "common/product_info/product_library.h"
#include "private_include/common/service_locator.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"

namespace plugins::loader {

// A way to the product.
struct ProductConnection {
    vek::RefPtr<IServiceLocator> locator;
    // Whether calls can still reach the product. Called from any thread, several at once, and does
    // not wait. Empty: nobody can tell, and the connection is kept.
    std::function<bool()> is_alive;
};

// Connects to the product at an address and gets its service locator. Returns a failing code
// quickly when there is nobody.
using ProductConnector = std::function<vek::result_t(const product_info::RemoteAddress& address,
                                                     ProductConnection& connection)>;

// Free-threaded. Makes no connection before it is asked, keeps the one it has made for as long as
// that is alive, and keeps nothing of an attempt that failed: the next one starts over.
class ProductLoader final : public vek::ObjectImpl<ILoader> {
public:
    ProductLoader(product_info::LibraryEnvironment environment, ProductConnector connector);

    // Gives the service locator, kNotFound for any other id. A product that cannot be reached now
    // gives a code of FindProduct (product_address.h) or the connector's own, and one trace line of
    // level 500.
    vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept override;

private:
    using ConnectionPtr = std::shared_ptr<const ProductConnection>;

    ConnectionPtr Kept();
    ConnectionPtr Keep(ConnectionPtr made);
    ConnectionPtr Connect() const;

    const product_info::LibraryEnvironment environment_;
    const ProductConnector connector_;
    std::mutex lock_;     // guards kept_
    ConnectionPtr kept_;  // null until the first success
};

}  // namespace plugins::loader
