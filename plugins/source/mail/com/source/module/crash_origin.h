#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace plugins::dll {

// Tells this module's faults from those of others. Any thread may call the operations; they
// allocate nothing, and take no lock that the fault's dispatch has not taken.
class CrashOrigin {
public:
    // Learns where this module and the system's folder lie. Raises HResultCodeException.
    CrashOrigin();

    // Of this module.
    const std::wstring& module_path() const noexcept { return module_path_; }

    // Whether the fault's address, or the first return address outside of the system's modules,
    // lies in this module. The faulting thread stands. Reads its stack, and has a fault itself
    // when that is damaged.
    bool IsOurs(const EXCEPTION_POINTERS& fault) const noexcept;

private:
    bool Holds(std::uintptr_t address) const noexcept {
        return address - reinterpret_cast<std::uintptr_t>(module_) < module_size_;
    }
    bool IsSystems(std::uintptr_t address) const noexcept;

    HMODULE module_ = nullptr;
    std::size_t module_size_ = 0;
    std::wstring module_path_;
    std::wstring system_folder_;  // Windows' folder as the names of images begin with it
};

}  // namespace plugins::dll
