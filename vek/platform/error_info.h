#pragma once

#include <string>

namespace vek::platform {

// Takes the calling thread's error information object, if there is one, and gives its
// description; empty when there is none. On Windows this is COM's (GetErrorInfo,
// IErrorInfo::GetDescription); elsewhere what SetErrorDescription left.
std::u16string TakeErrorDescription() noexcept;

// Leaves error information for the calling thread.
void SetErrorDescription(std::u16string_view description);

}  // namespace vek::platform
