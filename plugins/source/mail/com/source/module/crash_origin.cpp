#include "module/crash_origin.h"

#include <winternl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "com/module_path_win32.h"
#include "internal/helpers/hresult_exception.h"

// The system's headers do not declare it: with class 2 it gives the name of a mapped image.
extern "C" NTSTATUS NTAPI NtQueryVirtualMemory(HANDLE process, const void* address,
                                               int information_class, void* answer, SIZE_T size,
                                               SIZE_T* length);

namespace plugins::dll {
namespace {

// Deeper than the system's own calls go between two modules of others.
constexpr int kMostSystemFrames = 256;

// Gives the name of the image that `address` lies in, in the system's own form and cut to what
// `buffer` holds; empty when it lies in none. The loader's lock is not taken: the thread that owns
// it may be the one that waits for the answer.
class ImageName {
public:
    explicit ImageName(std::uintptr_t address) noexcept {
        constexpr int kMappedFileName = 2;
        MEMORY_BASIC_INFORMATION memory{};
        const auto* const place = reinterpret_cast<const void*>(address);
        if (::VirtualQuery(place, &memory, sizeof memory) == 0 || memory.Type != MEM_IMAGE) return;
        if (NT_SUCCESS(::NtQueryVirtualMemory(::GetCurrentProcess(), place, kMappedFileName,
                                              &answer_, sizeof answer_, nullptr))) {
            name_ = {answer_.name.Buffer, answer_.name.Length / sizeof(wchar_t)};
        }
    }

    std::wstring_view get() const noexcept { return name_; }

private:
    struct {
        UNICODE_STRING name;
        std::array<wchar_t, 1024> text;
    } answer_;
    std::wstring_view name_;
};

// Where the memory ends that is like that at `address`; for a thread's stack that is its end. Zero
// when nothing can be read there.
std::uintptr_t EndOfMemory(std::uintptr_t address) noexcept {
    MEMORY_BASIC_INFORMATION memory{};
    if (::VirtualQuery(reinterpret_cast<const void*>(address), &memory, sizeof memory) == 0 ||
        memory.State != MEM_COMMIT || (memory.Protect & (PAGE_GUARD | PAGE_NOACCESS)) != 0) {
        return 0;
    }
    return reinterpret_cast<std::uintptr_t>(memory.BaseAddress) + memory.RegionSize;
}

// The spelling of names is that of whoever opened the file.
wchar_t AsciiLower(wchar_t unit) noexcept {
    return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;
}

}  // namespace

CrashOrigin::CrashOrigin() : module_(com::ThisModule()), module_path_(com::ModulePath(module_)) {
    const auto* const image = reinterpret_cast<const std::byte*>(module_);
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(image + dos->e_lfanew);
    module_size_ = headers->OptionalHeader.SizeOfImage;

    // "...\Windows\System32\ntdll.dll"
    const ImageName ntdll(reinterpret_cast<std::uintptr_t>(::GetModuleHandleW(L"ntdll.dll")));
    std::wstring_view folder = ntdll.get();
    for (int parts = 0; parts < 2; ++parts) {
        folder = folder.substr(0, folder.find_last_of(L'\\'));
    }
    if (folder.empty()) helpers::ThrowHResult(E_UNEXPECTED);
    system_folder_ = std::wstring(folder) + L'\\';
}

bool CrashOrigin::IsOurs(const EXCEPTION_POINTERS& fault) const noexcept {
    if (Holds(reinterpret_cast<std::uintptr_t>(fault.ExceptionRecord->ExceptionAddress))) {
        return true;
    }
    CONTEXT context = *fault.ContextRecord;
    const std::uintptr_t stack_top = context.Rsp;
    const std::uintptr_t stack_end = EndOfMemory(stack_top);
    for (int frame = 0; frame < kMostSystemFrames; ++frame) {
        if (context.Rsp < stack_top || context.Rsp + sizeof(DWORD64) > stack_end) return false;
        DWORD64 image = 0;
        PRUNTIME_FUNCTION const function = ::RtlLookupFunctionEntry(context.Rip, &image, nullptr);
        if (function != nullptr) {
            void* handler_data = nullptr;
            DWORD64 frame_begin = 0;
            ::RtlVirtualUnwind(UNW_FLAG_NHANDLER, image, context.Rip, function, &context,
                               &handler_data, &frame_begin, nullptr);
        } else {  // a function that calls none, or a call of what is no code
            context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
            context.Rsp += sizeof(DWORD64);
        }
        if (Holds(context.Rip)) return true;
        if (!IsSystems(context.Rip)) return false;
    }
    return false;
}

bool CrashOrigin::IsSystems(std::uintptr_t address) const noexcept {
    const ImageName image(address);
    const std::wstring_view name = image.get();
    return std::ranges::equal(name.substr(0, system_folder_.size()), system_folder_, {}, AsciiLower,
                              AsciiLower);
}

}  // namespace plugins::dll
