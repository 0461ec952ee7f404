#pragma once

#include <unistd.h>

#include "vek/platform/unique_resource.h"

namespace vek::platform {

struct DescriptorTraits {
    using value_t = int;
    static constexpr value_t None() noexcept { return -1; }
    static void Close(value_t descriptor) noexcept { ::close(descriptor); }
};

// Owns a file descriptor.
using Descriptor = UniqueResource<DescriptorTraits>;

}  // namespace vek::platform
