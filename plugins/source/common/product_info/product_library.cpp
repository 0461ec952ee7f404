#include "common/product_info/product_library.h"

#include <mutex>
#include <utility>

#include "vek/core/never_destroyed.h"
#include "vek/core/throw.h"

namespace plugins::product_info {
namespace {

namespace result = vek::result;

constexpr std::uint32_t kPauseAfterFailure = 30'000;  // ms

// Raises unless a call has given an object: a mere claim of success is not believed.
void RequireObject(vek::result_t code, const void* object) {
    if (vek::Failed(code)) vek::ThrowResult(code);
    if (object == nullptr) vek::ThrowResult(result::kUnexpected);
}

}  // namespace

const std::shared_ptr<LibraryKeeper>& TheLibraryKeeper() {
    // Never destroyed: a library is not to be unloaded while the plug-in itself is. Nor made on the
    // heap, which would keep it when the plug-in is.
    struct Process {
        LibraryKeeper own;
        std::shared_ptr<LibraryKeeper> keeper{std::shared_ptr<void>(), &own};
    };
    static vek::NeverDestroyed<Process> process;
    return (*process).keeper;
}

helpers::RegistryKeyPath ProductKey() {
    return {helpers::RegistryHandle::kLocalMachine, u"SOFTWARE\\QZ\\Mail Plugin"};
}

helpers::RegistryKeyPath PolicyKey() {
    return {helpers::RegistryHandle::kLocalMachine, u"SOFTWARE\\Policies\\QZ\\Mail Plugin"};
}

std::u16string ProductName(vek::platform::Registry& registry) {
    helpers::RegistryKeyPath key = ProductKey();
    key.path += u"\\environment";
    std::u16string name;
    helpers::ReadString(key, u"ProductName", name, registry);
    return name;
}

ProductLibrary::ProductLibrary(vek::platform::LibraryLoader& libraries, const std::string& path) {
    if (!IsLocalPath(path)) vek::ThrowResult(result::kInvalidArgument);
    library_ = libraries.Load(path);
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

void LibraryKeeper::Drop() noexcept {
    std::shared_ptr<const ProductLibrary> old;  // goes after the lock
    LibraryName old_name{};
    const std::lock_guard guard(lock_);
    old = std::move(library_);
    failure_ = nullptr;
    std::swap(name_, old_name);
}

std::shared_ptr<const ProductLibrary> LibraryKeeper::Library(
    const LibraryEnvironment& environment) {
    std::shared_ptr<const ProductLibrary> old;  // goes after the lock
    const std::lock_guard guard(lock_);
    const auto name = InstalledLibrary(environment.registry);
    if (library_ && (!name || name->path != name_.path)) old = std::move(library_);
    if (!name) {
        failure_ = nullptr;
        vek::ThrowResult(result::kNotFound);
    }
    if (library_) return library_;

    const std::uint32_t now = environment.clock.TickCount();
    if (failure_ && name_ == *name && now - failed_at_ < kPauseAfterFailure) {
        std::rethrow_exception(failure_);
    }
    name_ = *name;
    try {
        library_ = std::make_shared<ProductLibrary>(environment.libraries, name->path);
        failure_ = nullptr;
    } catch (...) {
        failure_ = std::current_exception();
        failed_at_ = now;
        throw;
    }
    return library_;
}

}  // namespace plugins::product_info
