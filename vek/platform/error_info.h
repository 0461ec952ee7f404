#pragma once

#include <string>

namespace vek::platform {

// Takes the calling thread's error information away and gives its description, empty without one.
// On Windows it is COM's (GetErrorInfo, IErrorInfo::GetDescription), elsewhere the text that
// SetErrorDescription left.
std::u16string TakeErrorDescription() noexcept;

// Leaves error information for the calling thread. Raises only for want of memory.
void SetErrorDescription(std::u16string_view description);

}  // namespace vek::platform
