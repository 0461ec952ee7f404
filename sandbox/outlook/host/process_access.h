#pragma once

#include <cstdint>
#include <string>

namespace sandbox::host {

// Refuses a library, from when it is loaded, what Windows refuses between a user's process and a
// service's: to open another process, or its token. `library` is its file name. Nothing of it is
// changed but where these two of its imports lead. To be called once.
void RefuseProcessAccess(std::wstring library);

// How often it has been refused.
std::uint32_t RefusedAccesses() noexcept;

}  // namespace sandbox::host
