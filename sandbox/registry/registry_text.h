#pragma once

#include <string>
#include <string_view>

#include "vek/platform/registry.h"

namespace sandbox {

// A key and all below it in one line, whatever order the registry has them in: its values, then its
// keys, as "=text Name=#3 Other=$0.255. Inner{...} ". A number has a "#" and is decimal, bytes have
// a
// "$" and are, each; "?" and its number stand for another type. Raises std::runtime_error when
// something cannot be read.
std::string ToText(vek::platform::Registry& registry, vek::platform::RegistryHandle root,
                   std::u16string_view path = {});

}  // namespace sandbox
