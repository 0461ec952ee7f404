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

// What is given back to the system when the module is unloaded and the process goes on: to be an
// object of static storage, which has no destructor. At that time no thread of the module's own is
// left, and none may be waited for.
class UnloadStep {
public:
    explicit UnloadStep(void (*run)() noexcept) noexcept;
    UnloadStep(const UnloadStep&) = delete;
    UnloadStep& operator=(const UnloadStep&) = delete;

    // Takes all steps, and gives back what the runtime library keeps for the calling thread. Called
    // by DllMain (dll_main_win32.cpp).
    static void RunAll() noexcept;

private:
    void (*const run_)() noexcept;
    UnloadStep* const next_;
};

}  // namespace vek::platform
