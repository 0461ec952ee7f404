#pragma once

#include "object_model/object_model.h"

namespace plugins::mail_processing::automation {

// The calling thread's pointer. One that cannot be loaded leaves what is shown.
class SystemCursor final : public Cursor {
public:
    void* Show(std::uint16_t resource_id) noexcept override;
    void Restore(void* previous) noexcept override;
};

}  // namespace plugins::mail_processing::automation
