#pragma once

// The end of the transport in a module that its host unloads.

#include <chrono>

namespace remote {

// Whether the runtime calls nothing of this module's any more, within `timeout`. False while there
// is a connection or a listener. Not on a thread of the runtime's.
bool AwaitUnregistered(std::chrono::milliseconds timeout) noexcept;

// Gives back what the system keeps for each thread that has called. To be called when the module
// is unloaded and nobody calls any more.
void FreeThreadHandles() noexcept;

}  // namespace remote
