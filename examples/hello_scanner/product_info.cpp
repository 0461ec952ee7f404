// The information library of a small product. The plug-in loads it into Outlook and asks it who the
// product's process is and where; both lie in the library's folder.

#include "private_include/common/product_library.h"

#include <fstream>
#include <string>

#include "vek/core/border.h"
#include "vek/core/ref_ptr.h"
#include "vek/platform/module_folder.h"

namespace {

using namespace plugins::product_info;
namespace result = vek::result;

// All objects of the library in one: it has no state.
class HelloInfo final : public vek::ObjectImpl<IObjectFactory, IProductValues, IRemoteObject> {
public:
    vek::result_t CreateObject(const char* name, vek::interface_id_t id,
                               void** object) noexcept override {
        return vek::AtBorder([&] {
            const std::string wanted = name;
            const bool known = wanted == kProductValuesObject || wanted == kRemoteLoaderObject;
            return known ? QueryInterface(id, object) : result::kNotFound;
        });
    }

    // Nobody but this very program is taken for the product.
    vek::result_t GetValue(const char* name, char* buffer, std::uint32_t capacity,
                           std::uint32_t* size) noexcept override {
        return vek::AtBorder([&] {
            if (std::string(name) != kProcessImage) return result::kNotFound;
            const std::u8string path = (vek::platform::ModuleFolder() / PROGRAM).u8string();
            return CopyValue(std::string(path.begin(), path.end()), buffer, capacity, size);
        });
    }

    // The process writes its id into a file once it can be reached there.
    vek::result_t GetAddress(RemoteAddress* address) noexcept override {
        return vek::AtBorder([&] {
            std::ifstream file(vek::platform::ModuleFolder() / "process_id");
            std::uint32_t id = 0;
            if (!(file >> id)) return result::kNotReady;
            *address = {.local_id = id, .tcp_port = 0, .reserved = 0, .process_id = id};
            return result::kOk;
        });
    }
};

}  // namespace

extern "C" vek::result_t vekGetObjectFactory(vek::interface_id_t id, void** factory) {
    return vek::AtBorder([&] { return vek::MakeObject<HelloInfo>()->QueryInterface(id, factory); });
}
