#pragma once

// The loader that finds the installed product and connects to its process.

#include <functional>
#include <memory>
#include <mutex>

#include "common/loader/service_access.h"
#include "common/product_info/product_info.h"
#include "private_include/common/service_locator.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/lock.h"

namespace plugins::loader {

// A way to the product.
struct ProductConnection {
    vek::RefPtr<IServiceLocator> locator;
    // Whether calls can still reach the product. Called from any thread, several at once, and does
    // not wait. A connection without it is kept for ever.
    std::function<bool()> is_alive;
};

// Connects to the product's process and gets its service locator. Returns a failing code
// quickly when nobody answers there.
using ProductConnector = std::function<vek::result_t(const product_info::ProductProcess& process,
                                                     ProductConnection& connection)>;

// The connector over the remoting. It talks to the named process alone, as far as it is named: of
// its account, with its id, and, where it is a process of this one's user, of its image. Another
// account's says enough, and its process may not be opened.
ProductConnector RemoteConnector(vek::trace::TracerPtr tracer);

// Gives services that outlive the product's process: each is found anew when the product was
// started again. Makes no connection before it is asked, keeps the one that it has made for as long
// as that is alive, and keeps nothing of an attempt that failed. Free-threaded.
class ProductLoader final : public vek::ObjectImpl<ILoader> {
public:
    ProductLoader(product_info::LibraryEnvironment environment, ProductConnector connector);

    // Gives the service locator, kNotFound for any other id. A product that cannot be reached now
    // gives a code of FindProduct (product_info.h) or the connector's own, and one trace line.
    vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept override;

private:
    using ConnectionPtr = std::shared_ptr<const ProductConnection>;

    vek::result_t Locate(vek::RefPtr<IServiceLocator>& locator) noexcept;
    ConnectionPtr Kept();
    ConnectionPtr Keep(const ConnectionPtr& made);
    ConnectionPtr Connect() const;

    const product_info::LibraryEnvironment environment_;
    const ProductConnector connector_;
    vek::platform::Lock lock_;  // guards kept_
    ConnectionPtr kept_;        // null until the first success
};

// Makes the loader of the installed product.
LoaderFactory ProductLoaderFactory(product_info::LibraryEnvironment environment);

}  // namespace plugins::loader
