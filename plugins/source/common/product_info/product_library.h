#pragma once

// Finds and loads the product's information library.

#include <memory>
#include <optional>
#include <string>

#include "private_include/common/product_library.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/library_loader.h"
#include "vek/platform/registry.h"
#include "vek/trace/tracer.h"

namespace plugins::product_info {

// The surroundings of a lookup. References outlive what is loaded.
struct LibraryEnvironment {
    vek::platform::LibraryLoader& libraries = vek::platform::TheLibraryLoader();
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
};

// The path, in UTF-8, that the installed product names as that of its information library; nothing
// when no product is installed.
//
// On Windows the value "ProductInfo" of the key "SOFTWARE\QZ\Mail Plugin", the machine's before the
// user's. Elsewhere the environment variable MLXO_PRODUCT_INFO. May be called from any thread.
std::optional<std::string> ProductLibraryPath(vek::platform::Registry& registry);

// Keeps the library loaded. What Create gave is released before its library goes.
class ProductLibrary {
public:
    // Finds the installed product's library and loads it. Raises vek::ResultCodeException with
    //   kNotFound          no product is installed
    //   kInvalidArgument   its path is not absolute; others would be searched for
    //   kInvalidVersion    it is one of another version
    // or another code of the library's own; vek::SystemException with
    //   kModuleNotFound    the library is not there or cannot be loaded
    //   kSymbolNotFound    it is no product's information library
    explicit ProductLibrary(const LibraryEnvironment& environment);

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

}  // namespace plugins::product_info
