#include "sandbox/outlook/host/process_access.h"

#include <windows.h>
// After windows.h, which it needs.
#include <winternl.h>

#include <atomic>
#include <stdexcept>
#include <string_view>

namespace sandbox::host {
namespace {

std::atomic<std::uint32_t> refused_accesses{0};

void Refuse() noexcept {
    ++refused_accesses;
    ::SetLastError(ERROR_ACCESS_DENIED);
}

HANDLE WINAPI RefuseProcess(DWORD access, BOOL inherits, DWORD id) {
    if (id == ::GetCurrentProcessId()) return ::OpenProcess(access, inherits, id);
    return Refuse(), nullptr;
}

BOOL WINAPI RefuseToken(HANDLE process, DWORD access, HANDLE* token) {
    if (::GetProcessId(process) == ::GetCurrentProcessId())
        return ::OpenProcessToken(process, access, token);
    return Refuse(), FALSE;
}

void* ReplacementOf(std::string_view import) noexcept {
    if (import == "OpenProcess") return reinterpret_cast<void*>(&RefuseProcess);
    if (import == "OpenProcessToken") return reinterpret_cast<void*>(&RefuseToken);
    return nullptr;
}

// An image in memory, as the loader has laid it out.
class Image {
public:
    explicit Image(void* base) noexcept : base_(static_cast<std::byte*>(base)) {}

    template <class Content>
    Content* At(std::size_t offset) const noexcept {
        return reinterpret_cast<Content*>(base_ + offset);
    }

    void LeadImportsElsewhere() const noexcept {
        const auto* const headers =
            At<IMAGE_NT_HEADERS>(static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew));
        const auto& imports =
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
        if (imports == 0) return;
        for (auto* from = At<IMAGE_IMPORT_DESCRIPTOR>(imports); from->Name != 0; ++from) {
            const auto* name = At<IMAGE_THUNK_DATA>(from->OriginalFirstThunk);
            for (auto* entry = At<IMAGE_THUNK_DATA>(from->FirstThunk); name->u1.AddressOfData != 0;
                 ++name, ++entry) {
                if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) Lead(*name, *entry);
            }
        }
    }

private:
    void Lead(const IMAGE_THUNK_DATA& name, IMAGE_THUNK_DATA& entry) const noexcept {
        void* const replacement =
            ReplacementOf(At<IMAGE_IMPORT_BY_NAME>(name.u1.AddressOfData)->Name);
        DWORD before = 0;
        if (replacement == nullptr ||
            ::VirtualProtect(&entry, sizeof entry, PAGE_READWRITE, &before) == FALSE) {
            return;
        }
        entry.u1.Function = reinterpret_cast<ULONG_PTR>(replacement);
        ::VirtualProtect(&entry, sizeof entry, before, &before);
    }

    std::byte* const base_;
};

// As the loader tells of libraries (LdrRegisterDllNotification), which no header declares.
struct LoadedLibrary {
    ULONG flags;
    const UNICODE_STRING* path;
    const UNICODE_STRING* name;
    void* base;
    ULONG size;
};
using notify_t = void(CALLBACK*)(ULONG reason, const LoadedLibrary* library, void* context);
using register_t = NTSTATUS(NTAPI*)(ULONG flags, notify_t notify, void* context, void** cookie);

// Told when its imports are known and before any of its code runs.
void CALLBACK OnLibrary(ULONG reason, const LoadedLibrary* library, void* context) {
    constexpr ULONG kLoaded = 1;
    const auto& wanted = *static_cast<const std::wstring*>(context);
    const std::wstring name(library->name->Buffer, library->name->Length / sizeof(wchar_t));
    if (reason == kLoaded && wanted.find(L',' + name + L',') != wanted.npos)
        Image(library->base).LeadImportsElsewhere();
}

}  // namespace

void RefuseProcessAccess(const std::wstring& libraries) {
    static std::wstring names;
    names = L',' + libraries + L',';
    const auto notify = reinterpret_cast<register_t>(reinterpret_cast<void*>(
        ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "LdrRegisterDllNotification")));
    void* cookie = nullptr;
    if (notify == nullptr || notify(0, OnLibrary, &names, &cookie) != 0)
        throw std::runtime_error("the loader does not tell of libraries");
}

std::uint32_t RefusedAccesses() noexcept { return refused_accesses; }

}  // namespace sandbox::host
