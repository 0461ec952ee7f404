#include "common/product_info/product_library.h"

#include <filesystem>
#include <optional>
#include <string>

#include "common/product_info/library_place.h"
#include "vek/core/throw.h"

namespace plugins::product_info {
namespace {

namespace result = vek::result;

std::string RequirePlace(vek::platform::Registry& registry) {
    std::optional<std::string> place = FindLibraryPlace(registry);
    if (!place) vek::ThrowResult(result::kNotFound);
    if (!std::filesystem::path(std::u8string(place->begin(), place->end())).is_absolute())
        vek::ThrowResult(result::kInvalidArgument);
    return *std::move(place);
}

// Raises unless a call has given something: what the other side claims is not believed.
void RequireObject(vek::result_t code, const void* object) {
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (object == nullptr) vek::ThrowResult(result::kUnexpected);
}

}  // namespace

ProductLibrary::ProductLibrary(const LibraryEnvironment& environment)
    : library_(environment.libraries.Load(RequirePlace(environment.registry))) {
    if (!library_) vek::ThrowResult(result::kModuleNotFound);
    const auto get_factory =
        reinterpret_cast<GetObjectFactory>(library_->Find(kGetObjectFactoryExport));
    if (get_factory == nullptr) vek::ThrowResult(result::kSymbolNotFound);

    void* factory = nullptr;
    const vek::result_t code = get_factory(IObjectFactory::kInterfaceId, &factory);
    if (code == result::kInterfaceNotSupported) vek::ThrowResult(result::kInvalidVersion);
    RequireObject(code, factory);
    factory_ = vek::RefPtr<IObjectFactory>::Adopt(static_cast<IObjectFactory*>(factory));
}

void* ProductLibrary::Create(const char* name, vek::interface_id_t id) const {
    void* object = nullptr;
    const vek::result_t code = factory_->CreateObject(name, id, &object);
    RequireObject(code, object);
    return object;
}

}  // namespace plugins::product_info
