#include "common/product_info/product_library.h"

#include <filesystem>

#include "vek/core/throw.h"

namespace plugins::product_info {
namespace {

namespace result = vek::result;

std::string RequirePath(vek::platform::Registry& registry) {
    std::optional<std::string> path = ProductLibraryPath(registry);
    if (!path) vek::ThrowResult(result::kNotFound);
    if (!std::filesystem::path(std::u8string(path->begin(), path->end())).is_absolute())
        vek::ThrowResult(result::kInvalidArgument);
    return *std::move(path);
}

// Raises unless a call has given an object: a mere claim of success is not believed.
void RequireObject(vek::result_t code, const void* object) {
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (object == nullptr) vek::ThrowResult(result::kUnexpected);
}

}  // namespace

ProductLibrary::ProductLibrary(const LibraryEnvironment& environment)
    : library_(environment.libraries.Load(RequirePath(environment.registry))) {
    if (!library_) vek::ThrowSystem(result::kModuleNotFound);
    const auto get_factory =
        reinterpret_cast<GetObjectFactory>(library_->Find(kGetObjectFactoryExport));
    if (get_factory == nullptr) vek::ThrowSystem(result::kSymbolNotFound);

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
