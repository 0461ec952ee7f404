#pragma once

// Finds and loads the product's information library.

#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "internal/helpers/registry_impl.h"
#include "private_include/common/product_library.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/clock.h"
#include "vek/platform/library_loader.h"
#include "vek/platform/lock.h"
#include "vek/trace/tracer.h"

namespace plugins::product_info {

class LibraryKeeper;

// The keeper of the process, which is never destroyed.
const std::shared_ptr<LibraryKeeper>& TheLibraryKeeper();

// The surroundings of a lookup. References outlive what is loaded.
struct LibraryEnvironment {
    vek::platform::LibraryLoader& libraries = vek::platform::TheLibraryLoader();
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
    std::shared_ptr<LibraryKeeper> keeper = TheLibraryKeeper();
    vek::platform::Clock& clock = vek::platform::TheClock();
    // Called before each attempt to reach the product, by any thread. Does not wait, nor raise.
    std::function<void()> on_attempt = {};
};

// Keys of the machine: what is named there, its administrators have installed; a user's do not
// count.
helpers::RegistryKeyPath ProductKey();  // "SOFTWARE\QZ\Mail Plugin": the product's information
helpers::RegistryKeyPath PolicyKey();   // "SOFTWARE\Policies\QZ\Mail Plugin": what is imposed on it

// The product's name for people: the value "ProductName" of the product key's "environment". Empty
// when it cannot be read. Any thread may call it.
std::u16string ProductName(vek::platform::Registry& registry = vek::platform::TheRegistry());

// What the installed product names as its information library.
struct LibraryName {
    std::string path;                 // UTF-8
    vek::platform::filetime_t since;  // another one when something was written there since
    bool operator==(const LibraryName&) const = default;
};

// Gives it as it is now; nothing when no product is installed.
//
// On Windows the value "ProductInfo" of the product's key, elsewhere the environment variable
// MLXO_PRODUCT_INFO. Any thread may call it.
std::optional<LibraryName> InstalledLibrary(vek::platform::Registry& registry);

// Whether a library at this path may be loaded: an absolute path, on Windows on a drive of this
// machine's own.
bool IsLocalPath(const std::string& path);

// A loaded library. What Create gave is released before its library goes.
class ProductLibrary {
public:
    // Raises vek::ResultCodeException with
    //   kInvalidArgument   the path is not local (IsLocalPath)
    //   kInvalidVersion    the library is one of another version
    // or another code of the library's own; vek::SystemException with
    //   kModuleNotFound    the library is not there or cannot be loaded
    //   kSymbolNotFound    it is no product's information library
    ProductLibrary(vek::platform::LibraryLoader& libraries, const std::string& path);

    // Gives the object called `name`, never null. Raises vek::ResultCodeException with the
    // library's code: kNotFound for a name that it does not know.
    template <class Interface>
    vek::RefPtr<Interface> Create(const char* name) const {
        return vek::RefPtr<Interface>::Adopt(
            static_cast<Interface*>(Create(name, Interface::kInterfaceId)));
    }

private:
    void* Create(const char* name, vek::interface_id_t id) const;

    std::unique_ptr<vek::platform::Library> library_;
    vek::RefPtr<IObjectFactory> factory_;
};

// Keeps the installed product's library loaded until another one is named, or none.
class LibraryKeeper {
public:
    // Gives the library that is named now; it is loaded if it is not. Raises
    // vek::ResultCodeException with kNotFound when no product is installed, or what ProductLibrary
    // raises: one attempt that failed stands for those of the next 30 seconds, unless something is
    // written where the library is named. Any thread may call it, and waits for another's loading.
    std::shared_ptr<const ProductLibrary> Library(const LibraryEnvironment& environment);

    // Lets go of the library, and of an attempt that failed.
    void Drop() noexcept;

private:
    vek::platform::Lock lock_;
    LibraryName name_;  // of the library, or of the attempt
    std::shared_ptr<const ProductLibrary> library_;
    std::exception_ptr failure_;
    std::uint32_t failed_at_ = 0;  // in the clock's ticks
};

}  // namespace plugins::product_info
