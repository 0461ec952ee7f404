#include "automation/system_cursor.h"

namespace plugins::mail_processing::automation {

void* SystemCursor::Show(std::uint16_t resource_id) noexcept {
    // The system's own are shared and never destroyed.
    const HCURSOR cursor = ::LoadCursorW(nullptr, MAKEINTRESOURCEW(resource_id));
    return cursor == nullptr ? ::GetCursor() : ::SetCursor(cursor);
}

void SystemCursor::Restore(void* previous) noexcept { ::SetCursor(static_cast<HCURSOR>(previous)); }

}  // namespace plugins::mail_processing::automation
