#pragma once

#include "private_include/common/service_locator.h"
#include "vek/core/object.h"
#include "vek/core/ref_ptr.h"

namespace plugins::loader {

// Makes the services of a loader outlive the product's process: what it gives is found anew when
// the product was started again. Free-threaded.
class RecoveringLoader final : public vek::ObjectImpl<ILoader> {
public:
    explicit RecoveringLoader(vek::RefPtr<ILoader> loader) noexcept;

    // Gives the service locator, kNotFound for any other id; otherwise fails as the loader below
    // does while the product cannot be reached.
    vek::result_t GetInterface(vek::interface_id_t id, void** object) noexcept override;

private:
    const vek::RefPtr<ILoader> loader_;
};

}  // namespace plugins::loader
