#pragma once

#include <cstdint>
#include <string>

namespace sandbox::host {

// Refuses libraries, from when they are loaded, what Windows refuses between a user's process and a
// service's: to open another process, or its token. `libraries` are their file names with commas
// between. Nothing of them is changed but where these two of their imports lead. To be called once.
void RefuseProcessAccess(const std::wstring& libraries);

// How often they have been refused.
std::uint32_t RefusedAccesses() noexcept;

}  // namespace sandbox::host
