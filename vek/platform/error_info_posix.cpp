#include <string_view>
#include <utility>

#include "vek/platform/error_info.h"

namespace vek::platform {
namespace {

thread_local std::u16string left_description;

}  // namespace

std::u16string TakeErrorDescription() noexcept { return std::exchange(left_description, {}); }

void SetErrorDescription(std::u16string_view description) { left_description = description; }

}  // namespace vek::platform
