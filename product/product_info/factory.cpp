#include "product/product_info/factory.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "product/policy/policy.h"
#include "product/state/run_folder.h"
#include "product/state/strict_json.h"
#include "product/state/text_file.h"
#include "vek/core/current_exception.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using plugins::product_info::IProductValues;
using plugins::product_info::IRemoteObject;
using plugins::product_info::RemoteAddress;

// The program of the product's process, in the product's folder.
#ifdef _WIN32
constexpr char kProgram[] = "mlxo_product.exe";
#else
constexpr char kProgram[] = "mlxo_product";
#endif

// The border to the plug-in. Unlike AtBorder it takes an exception without a code for a malformed
// file.
template <class Answer>
vek::result_t Run(Answer&& answer) noexcept {
    try {
        return answer();
    } catch (const std::bad_alloc&) {
        return result::kOutOfMemory;
    } catch (...) {
        return result::kInvalidType;
    }
}

constexpr std::string_view kTraceLevel = "TraceLevel";

class Values final : public vek::ObjectImpl<IProductValues> {
public:
    explicit Values(const std::filesystem::path& folder) : folder_(folder) {}

    vek::result_t GetValue(const char* name, char* buffer, std::uint32_t capacity,
                           std::uint32_t* size) noexcept override {
        if (name == nullptr || size == nullptr || (buffer == nullptr && capacity != 0))
            return result::kInvalidArgument;
        return Run([&] {
            const std::optional<std::string> found = Value(name);
            if (!found) return result::kNotFound;
            const std::string& value = *found;
            *size = static_cast<std::uint32_t>(value.size() + 1);
            if (*size > capacity) return result::kBufferTooSmall;
            std::memcpy(buffer, value.c_str(), *size);
            return result::kOk;
        });
    }

private:
    std::optional<std::string> Value(std::string_view name) const {
        // Nobody edits which program it is.
        if (name == plugins::product_info::kProcessImage) return PathText(folder_ / kProgram);
        if (name == kTraceLevel) {
            if (const auto imposed = PolicyReader({}).Read().trace_level)
                return std::to_string(*imposed);
        }
        const std::optional<std::string> text = ReadTextFile(folder_ / "product_info.json");
        if (!text) return std::nullopt;
        const nlohmann::json values = nlohmann::json::parse(*text);
        const auto found = values.find(name);
        if (found == values.end()) return std::nullopt;
        return found->get_ref<const std::string&>();
    }

    const std::filesystem::path folder_;
};

class RemoteLoader final : public vek::ObjectImpl<IRemoteObject> {
public:
    explicit RemoteLoader(const std::filesystem::path& folder) : folder_(folder) {}

    vek::result_t GetAddress(RemoteAddress* address) noexcept override {
        if (address == nullptr) return result::kInvalidArgument;
        return Run([&] {
            const std::optional<RunningProduct> product = folder_.Running();
            if (!product) return result::kNotReady;
            *address = {product->local_id, product->tcp_port, 0, product->process_id};
            return result::kOk;
        });
    }

private:
    const RunFolder folder_;
};

}  // namespace

InfoFactory::InfoFactory(std::filesystem::path folder) : folder_(std::move(folder)) {}

vek::result_t InfoFactory::CreateObject(const char* name, vek::interface_id_t id,
                                        void** object) noexcept {
    if (name == nullptr || object == nullptr) return result::kInvalidArgument;
    *object = nullptr;
    return Run([&] {
        const std::string_view wanted = name;
        if (wanted == plugins::product_info::kProductValuesObject)
            return vek::MakeObject<Values>(folder_)->QueryInterface(id, object);
        if (wanted == plugins::product_info::kRemoteLoaderObject)
            return vek::MakeObject<RemoteLoader>(folder_)->QueryInterface(id, object);
        return result::kNotFound;
    });
}

}  // namespace reference_product
