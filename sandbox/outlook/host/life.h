#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "sandbox/outlook/host/host_player.h"

namespace sandbox::host {

// The ProgID of a library beside which others are measured: its add-in does nothing.
inline constexpr const wchar_t* kBareAddin = L"Sandbox.BareAddin";

// Measures that many rounds of the add-ins that are registered, taking turns with the bare one:
// loading, creating and connecting, also while a message is open, disconnecting, and an opened
// message where the product's process was started here and is not told to be silent. Prints
// medians, their ratio to the bare one's, and whether they are within their goals; whether all are.
// Raises std::exception when something goes wrong.
bool PrintTimes(const HostOptions& options, std::uint32_t rounds, std::ostream& out);

// Loads and connects the add-ins, has a message checked, disconnects and unloads them, that many
// times, and prints the process's handles, threads and memory on the way. Whether each check was
// made, each library went, and none of the three grows from the first tenth to the end.
bool RunCycles(const HostOptions& options, std::uint32_t cycles, std::ostream& out);

// Ends that many processes, each at a moment of its own within a check in the background, a trace
// line or a change of the product's key, as Outlook ends, or as COM ends before. `command` is this
// program's command line for such a process, which lacks "--exit N". Prints how long they took to
// be gone; whether all were within half a second, and without a fault.
bool RunExits(const HostOptions& options, const std::vector<std::string>& command,
              std::uint32_t exits, std::ostream& out);

// Is such a process, the `number`th one. `stamp` gets the time of its end.
[[noreturn]] void ExitInTheMiddle(const HostOptions& options, std::uint32_t number,
                                  const std::filesystem::path& stamp);

}  // namespace sandbox::host
