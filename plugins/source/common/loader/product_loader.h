#pragma once

// The loader that finds the installed product and connects to its process.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "common/loader/service_access.h"
#include "common/product_info/product_info.h"
#include "common/remoting/remote_interfaces.h"
#include "private_include/common/service_locator.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/lock.h"
#include "vek/platform/thread.h"
#include "vek/remoting/peer_watch.h"

namespace plugins::loader {

// A way to the product.
struct ProductConnection {
    vek::RefPtr<IServiceLocator> locator;
    // Called from any thread, several at once; do not wait. All may be empty.
    std::function<bool()> is_alive;    // whether calls are to go there; for ever if empty
    std::function<bool()> was_silent;  // whether it was ended because the product did not answer
    std::function<void()> retire;      // is not alive from now on; calls under way are left to end
    std::function<void()> end;
};

// The interfaces that may cross the border to the product.
using InterfacesPtr = std::shared_ptr<const vek::remoting::ProxyStubFactories>;

using PeerWatchPtr = std::shared_ptr<vek::remoting::PeerWatch>;

// Connects to the product's process and gets its service locator. Returns a failing code
// quickly when nobody answers there, and within what is left of the caller's limited call
// (call_wait.h) in any case. What it makes is watched by `watch`.
using ProductConnector =
    std::function<vek::result_t(const product_info::ProductProcess& process,
                                const PeerWatchPtr& watch, ProductConnection& connection)>;

// The connector over the remoting. It tells the product which languages this process's user reads
// (user_language.h), and does without that where the product does. It talks to the named process
// alone, as far as it is named: of its account, with its id, and, where it is a process of this
// one's user, of its image. Another account's says enough, and its process may not be opened.
ProductConnector RemoteConnector(vek::trace::TracerPtr tracer,
                                 InterfacesPtr interfaces = remoting::RemoteInterfaces());

// How patient a loader is with a product that does not answer.
struct LoaderTimes {
    vek::remoting::PeerWatchTimes watch;
    std::chrono::milliseconds retry_pause{1000};                       // between two attempts
    std::chrono::milliseconds retry_limit{vek::remoting::kEventWait};  // for one of them
};

// Gives services that outlive the product's process: each is found anew when the product was
// started again. Makes no connection before it is asked, keeps the one that it has made for as long
// as that is alive, and keeps nothing of an attempt that failed: the next call tries again.
//
// When the product did not answer in time, whether it was connected or not, a thread of the
// loader's connects instead, and until that has succeeded calls fail at once, with
// kRemoteCallFailed. That thread keeps the loader alive: whoever lets go of it ends it before.
// Free-threaded.
class ProductLoader final : public vek::ObjectImpl<ILoader, IProductRoad> {
public:
    ProductLoader(product_info::LibraryEnvironment environment, ProductConnector connector,
                  LoaderTimes times = {}, InterfacesPtr interfaces = remoting::RemoteInterfaces());
    ~ProductLoader() override { watch_->Close(); }

    // Gives the service locator, kNotFound for any other id. A product that cannot be reached now
    // gives a code of FindProduct (product_info.h) or the connector's own, and one trace line.
    vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept override;

    void Hasten() noexcept override { watch_->Hasten(); }
    void Forget() noexcept override;
    void End() noexcept override;

private:
    using ConnectionPtr = std::shared_ptr<const ProductConnection>;

    vek::result_t Locate(vek::RefPtr<IServiceLocator>& locator) noexcept;
    ConnectionPtr Kept();
    ConnectionPtr Keep(const ConnectionPtr& made);
    ConnectionPtr Connect() const;
    ConnectionPtr ConnectInTime();
    void StartRetrying() noexcept;
    void Retry(std::uint32_t round) noexcept;
    bool PauseRetrying(std::uint32_t round) noexcept;
    bool TryAgain(std::uint32_t round) noexcept;

    const product_info::LibraryEnvironment environment_;
    const ProductConnector connector_;
    const LoaderTimes times_;
    const InterfacesPtr interfaces_;
    const PeerWatchPtr watch_;

    vek::platform::Lock lock_;  // guards what follows
    ConnectionPtr kept_;        // null until the first success
    bool retrying_ = false;     // nobody else connects
    std::uint32_t round_ = 0;   // counts the ends; a thread of an earlier one has no say any more
    std::condition_variable_any ended_;
    std::unique_ptr<vek::platform::Thread> retry_thread_;
};

// Makes the loader of the installed product.
LoaderFactory ProductLoaderFactory(product_info::LibraryEnvironment environment,
                                   LoaderTimes times = {},
                                   InterfacesPtr interfaces = remoting::RemoteInterfaces());

}  // namespace plugins::loader
