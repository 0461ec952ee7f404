#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sandbox::host {

// LoadBehavior: what an add-in is, and when it is loaded.
namespace load_behavior {
inline constexpr std::uint32_t kLoaded = 1;
inline constexpr std::uint32_t kAtStartup = 2;
}  // namespace load_behavior

// The ProgIDs of the add-ins that are registered for the user or the machine.
std::vector<std::wstring> RegisteredAddins();

// The user's, else the machine's; nothing when neither is there.
std::optional<std::uint32_t> LoadBehavior(const std::wstring& prog_id);

// Writes the user's.
void SetLoadBehavior(const std::wstring& prog_id, std::uint32_t value);

// Takes the user's away.
void ForgetUsersLoadBehavior(const std::wstring& prog_id);

// The path of the library that a class of that ProgID is in, empty when it is not registered.
std::wstring LibraryOf(const std::wstring& prog_id);

}  // namespace sandbox::host
