#include "product/product_info/factory.h"

#include <algorithm>
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
#include "vek/core/text.h"
#include "vek/core/throw.h"

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
    } catch (const vek::ResultCodeException& failure) {
        return failure.code();
    } catch (...) {
        return result::kInvalidType;
    }
}

// What the product says of itself, as it stands in its folder now.
class Description {
public:
    explicit Description(const std::filesystem::path& folder) {
        if (const auto text = ReadTextFile(folder / "product_info.json"))
            values_ = nlohmann::json::parse(*text);
    }

    // Raises for a value that is no text.
    std::optional<std::string> Value(std::string_view name) const {
        const auto found = values_.find(name);
        if (found == values_.end()) return std::nullopt;
        return found->get_ref<const std::string&>();
    }
    // The service that the product's process belongs to; nothing for one of the user's.
    std::optional<std::string> Service() const { return Value("Service"); }

private:
    nlohmann::json values_;
};

// Raises vek::ResultCodeException with kNotInitialized when the machine does not name an account.
std::string AccountOfService(vek::platform::Registry& registry) {
    using namespace vek::platform;
    RegistryHandle key{};
    RegistryValue value;
    if (registry.Open(RegistryHandle::kLocalMachine, u"SOFTWARE\\QZ\\Mail Plugin",
                      registry_access::kQueryValue, key) == system_error::kNone) {
        if (registry.QueryValue(key, u"ProcessAccount", value) != system_error::kNone) value = {};
        registry.Close(key);
    }
    std::u16string text(value.data.size() / sizeof(char16_t), u'\0');
    if (value.type == RegistryType::kString && !text.empty())
        std::memcpy(text.data(), value.data.data(), text.size() * sizeof(char16_t));
    text.resize(std::min(text.find(u'\0'), text.size()));
    if (!text.starts_with(u"S-1-")) vek::ThrowResult(result::kNotInitialized);
    return vek::ToUtf8(text);
}

class Values final : public vek::ObjectImpl<IProductValues> {
public:
    Values(const std::filesystem::path& folder, const InfoSources& sources)
        : folder_(folder), sources_(sources) {}

    vek::result_t GetValue(const char* name, char* buffer, std::uint32_t capacity,
                           std::uint32_t* size) noexcept override {
        if (name == nullptr) return result::kInvalidArgument;
        return Run([&] {
            const std::optional<std::string> found = Value(name);
            if (!found) return result::kNotFound;
            return plugins::product_info::CopyValue(*found, buffer, capacity, size);
        });
    }

private:
    std::optional<std::string> Value(std::string_view name) const {
        // Nobody edits which program it is.
        if (name == plugins::product_info::kProcessImage) return PathText(folder_ / kProgram);
        if (name == "TraceLevel") {
            if (const auto imposed = PolicyReader({}, sources_.registry).Read().trace_level)
                return std::to_string(*imposed);
        }
        const Description description(folder_);
        if (description.Service()) {
            if (name == plugins::product_info::kProcessAccount)
                return AccountOfService(sources_.registry);
            if (name == "DataRoot") return UserPath("");
            if (name == "TraceRoot") return UserPath("trace");
        }
        return description.Value(name);
    }

    // Nothing when the system does not tell where the user's data are.
    std::optional<std::string> UserPath(const char* name) const {
        const std::filesystem::path root = sources_.user_data();
        if (root.empty()) return std::nullopt;
        return PathText(*name == '\0' ? root : root / name);
    }

    const std::filesystem::path folder_;
    const InfoSources sources_;
};

class RemoteLoader final : public vek::ObjectImpl<IRemoteObject> {
public:
    RemoteLoader(const std::filesystem::path& folder, const InfoSources& sources)
        : folder_(folder), sources_(sources) {}

    vek::result_t GetAddress(RemoteAddress* address) noexcept override {
        if (address == nullptr) return result::kInvalidArgument;
        return Run([&] {
            if (const auto service = Description(folder_).Service())
                return GetScanner(*service, *address);
            const std::optional<RunningProduct> product = RunFolder(folder_).Running();
            if (!product) return result::kNotReady;
            *address = {product->local_id, product->tcp_port, 0, product->process_id};
            return result::kOk;
        });
    }

private:
    vek::result_t GetScanner(const std::string& service, RemoteAddress& address) const {
        const std::optional<std::uint32_t> process = sources_.service_process(service);
        const std::filesystem::path data = sources_.common_data();
        if (!process || data.empty()) return result::kNotReady;
        const auto scanner = ScannerNames(data).ScannerOf(*process);
        if (!scanner) return result::kNotReady;
        address = {scanner->local_id, 0, 0, scanner->process_id};
        return result::kOk;
    }

    const std::filesystem::path folder_;
    const InfoSources sources_;
};

}  // namespace

InfoFactory::InfoFactory(std::filesystem::path folder, InfoSources sources)
    : folder_(std::move(folder)), sources_(std::move(sources)) {}

vek::result_t InfoFactory::CreateObject(const char* name, vek::interface_id_t id,
                                        void** object) noexcept {
    if (name == nullptr || object == nullptr) return result::kInvalidArgument;
    *object = nullptr;
    return Run([&] {
        const std::string_view wanted = name;
        if (wanted == plugins::product_info::kProductValuesObject)
            return vek::MakeObject<Values>(folder_, sources_)->QueryInterface(id, object);
        if (wanted == plugins::product_info::kRemoteLoaderObject)
            return vek::MakeObject<RemoteLoader>(folder_, sources_)->QueryInterface(id, object);
        return result::kNotFound;
    });
}

}  // namespace reference_product
