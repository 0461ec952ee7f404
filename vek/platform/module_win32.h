#pragma once

// The module that this code is linked into: a program, or the library that a host loads and may
// unload at any time.

#include <windows.h>

#include <utility>

namespace vek::platform {

// Keeps the module loaded while there is somebody who may run its code on a thread that its host
// knows nothing of. Nothing in a program, which nobody unloads. Any thread.
class ModuleHold {
public:
    ModuleHold() noexcept = default;
    // One that holds nothing when the system refuses.
    static ModuleHold Take() noexcept;
    ModuleHold(ModuleHold&& other) noexcept : module_(std::exchange(other.module_, nullptr)) {}
    ModuleHold& operator=(ModuleHold&& other) noexcept {
        std::swap(module_, other.module_);
        return *this;
    }
    // The last of them unloads the module that it returns to: another holds it, or the host does.
    ~ModuleHold() {
        if (module_ != nullptr) ::FreeLibrary(module_);
    }

    // Ends the calling thread in the system's code, where nothing returns here. The thread owns
    // nothing any more.
    [[noreturn]] void LetGoAndExitThread() noexcept {
        ::FreeLibraryAndExitThread(std::exchange(module_, nullptr), 0);
    }

private:
    HMODULE module_ = nullptr;
};

// Gives back what the threads of the system keep for this module. To be called when it is unloaded
// and no thread of its own is left (thread_win32.cpp).
void FreeThreadSlot() noexcept;

}  // namespace vek::platform
