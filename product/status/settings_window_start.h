#pragma once

// Starting the settings window's program in a user's session.

#include <cstdint>
#include <memory>

#ifdef _WIN32
#include <guiddef.h>
#endif

namespace reference_product {

#ifdef _WIN32
// The class of the settings window. As installed its server is mlxo_settings.exe, which runs as the
// interactive user.
inline constexpr GUID kSettingsWindowClass{
    0xA3C0E5D2, 0x6B1F, 0x4B8E, {0x9D, 0x27, 0x51, 0xE0, 0xC8, 0xF7, 0xA2, 0x64}};
#endif

// How the window's program is reached.
enum class WindowRoad {
    kProgram,  // started beside this program, as this process's user
    kSession,  // by COM in the session, where its user's it is; for a service
};

// To be called once, before anything else of COM's, by a process that has windows opened by a road.
// What it gives is to be kept on this thread for as long as one may be opened.
std::shared_ptr<void> PrepareSettingsWindows(WindowRoad road);

// Has the window shown in the session. Waits until its program has been started. Raises
// vek::SystemException, or ResultCodeException (kNotSupported) where there is no such window.
void StartSettingsWindow(WindowRoad road, std::uint32_t session_id);

}  // namespace reference_product
