#include "common/loader/recovering_loader.h"

#include <utility>

#include "common/remoting/remote_interfaces.h"
#include "vek/core/current_exception.h"
#include "vek/remoting/recovering_service.h"

namespace plugins::loader {

namespace result = vek::result;

RecoveringLoader::RecoveringLoader(vek::RefPtr<ILoader> loader) noexcept
    : loader_(std::move(loader)) {}

vek::result_t RecoveringLoader::GetInterface(vek::interface_id_t id, void** object) noexcept {
    if (object == nullptr) return result::kInvalidArgument;
    *object = nullptr;
    if (id != IServiceLocator::kInterfaceId) return result::kNotFound;
    try {
        const auto locate = [loader = loader_](vek::RefPtr<IServiceLocator>& locator) {
            return loader->GetInterface(IServiceLocator::kInterfaceId, locator.put_void());
        };
        vek::RefPtr<IServiceLocator> now;
        const vek::result_t reached = locate(now);
        if (vek::Failed(reached)) return reached;
        *object = static_cast<IServiceLocator*>(
            vek::MakeObject<vek::remoting::RecoveringLocator>(locate, remoting::RemoteInterfaces())
                .detach());
        return result::kOk;
    } catch (...) {
        return vek::CurrentExceptionResult();
    }
}

}  // namespace plugins::loader
