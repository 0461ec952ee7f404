#pragma once

// The product's information library, as it is found and loaded.

#include <memory>
#include <string_view>

#include "private_include/common/product_library.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/library_loader.h"
#include "vek/platform/registry.h"
#include "vek/trace/tracer.h"

namespace plugins::product_info {

// What finding and loading works with. All of it outlives what is loaded.
struct LibraryEnvironment {
    vek::platform::LibraryLoader& libraries = vek::platform::TheLibraryLoader();
    vek::platform::Registry& registry = vek::platform::TheRegistry();
    vek::trace::TracerPtr tracer = vek::trace::ProcessTracer();
};

// Keeps the library loaded. What Create gave is released before its library goes.
class ProductLibrary {
public:
    // Finds the installed product's library and loads it. Raises vek::ResultCodeException with
    //   kNotFound          no product is installed
    //   kInvalidArgument   its place is not an absolute path; others would be searched for
    //   kModuleNotFound    the library is not there or cannot be loaded
    //   kSymbolNotFound    it is no product's information library
    //   kInvalidVersion    it is one of another version
    // or another code of the library's own.
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
