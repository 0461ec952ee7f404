#include "remote/process_event.h"

namespace remote {

vek::result_t OpenProcessEvent(std::uint32_t, EventNamespace, const vek::trace::TracerPtr&,
                               std::unique_ptr<vek::platform::Event>&) noexcept {
    return vek::result::kNotSupported;
}

}  // namespace remote
