// A host program that connects the add-in, and makes it crash by changing the code of the loaded
// module, which knows nothing of that.
//
//     crash_host MODULE PRODUCT_LIBRARY LOG CRASH
//     crash_host --version
//
// LOG gets a line for each thing that happens to the crashed process.

#include <windows.h>

#include <oaidl.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "mlxo_version.h"

namespace {

HANDLE log_file = INVALID_HANDLE_VALUE;
HMODULE module = nullptr;

// Needs next to no stack: filters that are called after an overflow write with it.
void Log(const char* what, DWORD number) {
    static char line[64];
    char* end = line;
    while (*what != '\0') *end++ = *what++;
    for (int shift = 28; shift >= 0; shift -= 4) *end++ = "0123456789abcdef"[number >> shift & 0xF];
    *end++ = '\n';
    DWORD written = 0;
    ::WriteFile(log_file, line, static_cast<DWORD>(end - line), &written, nullptr);
}

// Where set, the filter signals the one and stands until the other.
HANDLE in_filter = nullptr;
HANDLE leave_filter = nullptr;

LONG WINAPI LogFault(EXCEPTION_POINTERS* fault) {
    Log("filter ", fault->ExceptionRecord->ExceptionCode);
    if (in_filter != nullptr) ::SignalObjectAndWait(in_filter, leave_filter, INFINITE, FALSE);
    return EXCEPTION_EXECUTE_HANDLER;
}

LONG WINAPI OtherFilter(EXCEPTION_POINTERS*) { return EXCEPTION_CONTINUE_SEARCH; }

LPTOP_LEVEL_EXCEPTION_FILTER modules_filter = nullptr;

void SetOtherFilter() { modules_filter = ::SetUnhandledExceptionFilter(OtherFilter); }

// Calls the module's, which is not in force any more.
LONG WINAPI CallModules(EXCEPTION_POINTERS* fault) {
    Log("other ", fault->ExceptionRecord->ExceptionCode);
    return modules_filter(fault);
}

bool reporting_crashes = false;

// Stands where faultrep.dll's function does.
int WINAPI LogReport(EXCEPTION_POINTERS* fault, DWORD) {
    Log("report ", fault->ExceptionRecord->ExceptionCode);
    if (reporting_crashes) *reinterpret_cast<volatile int*>(8) = 1;
    return 0;
}

using Code = std::vector<std::uint8_t>;

Code operator+(Code code, const Code& more) {
    code.insert(code.end(), more.begin(), more.end());
    return code;
}

// mov rax, target
Code LoadAddress(const void* target) {
    Code code{0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0};
    std::memcpy(code.data() + 2, &target, sizeof target);
    return code;
}

template <class Function>
Function Find(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
}

void Patch(void* place, const Code& code) {
    DWORD before = 0;
    ::VirtualProtect(place, code.size(), PAGE_EXECUTE_READWRITE, &before);
    std::memcpy(place, code.data(), code.size());
    ::VirtualProtect(place, code.size(), before, &before);
    ::FlushInstructionCache(::GetCurrentProcess(), place, code.size());
}

template <class Type>
Type Read(const std::string& bytes, std::size_t at) {
    Type value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

// The address of a function that the module does not export, from the symbols in its file.
void* FindSymbol(std::string_view wanted) {
    wchar_t path[MAX_PATH];
    ::GetModuleFileNameW(module, path, MAX_PATH);
    std::ifstream file(std::wstring(path).c_str(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const std::size_t headers = Read<std::uint32_t>(bytes, 0x3C);
    const auto header = Read<IMAGE_NT_HEADERS64>(bytes, headers);
    const std::size_t symbols = header.FileHeader.PointerToSymbolTable;
    const std::size_t count = header.FileHeader.NumberOfSymbols;
    const std::size_t strings = symbols + count * sizeof(IMAGE_SYMBOL);
    for (std::size_t i = 0; i < count; ++i) {
        const auto symbol = Read<IMAGE_SYMBOL>(bytes, symbols + i * sizeof(IMAGE_SYMBOL));
        if (symbol.N.Name.Short == 0 && symbol.SectionNumber > 0 &&
            wanted == bytes.c_str() + strings + symbol.N.Name.Long) {
            const auto section = Read<IMAGE_SECTION_HEADER>(
                bytes, headers + sizeof(IMAGE_NT_HEADERS64) +
                           (static_cast<std::size_t>(symbol.SectionNumber) - 1) *
                               sizeof(IMAGE_SECTION_HEADER));
            return reinterpret_cast<std::uint8_t*>(module) + section.VirtualAddress + symbol.Value;
        }
        i += symbol.NumberOfAuxSymbols;
    }
    return nullptr;
}

// What of the module is changed: each can be a thread's function.
using ThreadFunction = DWORD(WINAPI*)(void*);
ThreadFunction first = nullptr;
ThreadFunction second = nullptr;

// The bodies of functions; Change begins each with "sub rsp, 40".
const Code kWriteToNull{0x31, 0xC0, 0x89, 0x00};       // xor eax, eax; mov [rax], eax
const Code kCallNull{0x31, 0xC0, 0xFF, 0xD0};          // xor eax, eax; call rax
const Code kUndefined{0x0F, 0x0B};                     // ud2
const Code kCallItself{0xE8, 0xF7, 0xFF, 0xFF, 0xFF};  // call to 9 before the next
Code CallOf(const void* function) {                    // with null
    return Code{0x31, 0xC9} + LoadAddress(function) + Code{0xFF, 0xD0};
}

// Gives a function another body, and tells the system how to unwind it.
void Change(ThreadFunction function, const Code& body) {
    auto* const place = reinterpret_cast<std::uint8_t*>(function);
    Code code = Code{0x48, 0x83, 0xEC, 0x28} + body;
    do code.push_back(0xCC);
    while ((reinterpret_cast<std::uintptr_t>(place) + code.size()) % sizeof(DWORD) != 0);
    const auto unwind_at = static_cast<DWORD>(code.size());
    // Version 1, prologue of 4 bytes, one code: after byte 4, 40 bytes were taken.
    Patch(place, code + Code{0x01, 0x04, 0x01, 0x00, 0x04, 0x42});

    DWORD64 image = 0;
    auto* const entry = ::RtlLookupFunctionEntry(reinterpret_cast<DWORD64>(place), &image, nullptr);
    RUNTIME_FUNCTION changed = *entry;
    changed.EndAddress = changed.UnwindData = changed.BeginAddress + unwind_at;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&changed);
    Patch(entry, Code(bytes, bytes + sizeof changed));
}

void RunOnThread(ThreadFunction function) {
    ::WaitForSingleObject(::CreateThread(nullptr, 0, function, nullptr, 0, nullptr), INFINITE);
}

// The host's own, to be changed like the module's, and long enough for it.
DWORD WINAPI Own(void*) {
    for (const DWORD number : {::GetTickCount(), ::GetCurrentProcessId(), ::GetCurrentThreadId()})
        Log("own ", number);
    return 0;
}

// Raises the stack's guard to where Windows has it, so that an overflow leaves what the thread was
// guaranteed; Wine keeps it at the stack's very end.
void RaiseStackGuard() {
    ULONG guaranteed = 0;
    ::SetThreadStackGuarantee(&guaranteed);
    MEMORY_BASIC_INFORMATION stack;
    ::VirtualQuery(&guaranteed, &stack, sizeof stack);
    DWORD before = 0;
    ::VirtualProtect(static_cast<char*>(stack.AllocationBase) + guaranteed, 1,
                     PAGE_READWRITE | PAGE_GUARD, &before);
}

void Overflow(ThreadFunction function) {
    RaiseStackGuard();
    Change(function, kCallItself);
    function(nullptr);
}

void WriteToNull() { Change(first, kWriteToNull), first(nullptr); }

// A fault of the host whose thread stands in the filter.
HANDLE standing = nullptr;
void StandInFilter() {
    in_filter = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    leave_filter = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    Change(Own, kWriteToNull);
    standing = ::CreateThread(nullptr, 0, Own, nullptr, 0, nullptr);
    ::WaitForSingleObject(in_filter, INFINITE);
}

// Has the module's filter look at a fault at which it cannot.
void ShowBrokenFault() {
    const auto filter = ::SetUnhandledExceptionFilter(nullptr);
    ::SetUnhandledExceptionFilter(filter);
    EXCEPTION_RECORD record{};
    record.ExceptionCode = static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION);
    EXCEPTION_POINTERS fault{&record, nullptr};
    filter(&fault);
}

void CrashInSecondAddin();

struct Crash {
    std::string_view name;
    void (*cause)();
    // Where set, there is a second connection, before which the filter is changed.
    LPTOP_LEVEL_EXCEPTION_FILTER filter = nullptr;
    void (*second_cause)() = nullptr;
};

const Crash kCrashes[] = {
    {"write", WriteToNull},
    {"thread", [] { Change(first, kWriteToNull), RunOnThread(first); }},
    {"call_null", [] { Change(first, kCallNull), first(nullptr); }},
    {"in_system",
     [] {
         Change(first, CallOf(Find<void*>(::GetModuleHandleW(L"msvcrt.dll"), "strlen")));
         first(nullptr);
     }},
    {"terminate", [] { Change(first, CallOf(FindSymbol("_ZSt9terminatev"))), first(nullptr); }},
    {"overflow", [] { Overflow(first); }},
    {"overflow_twice", [] { reporting_crashes = true, Overflow(first); }},
    {"second",
     [] {
         Change(first, kWriteToNull), Change(second, kUndefined);
         ::CreateThread(nullptr, 0, first, nullptr, 0, nullptr);
         ::Sleep(300);
         second(nullptr);
     }},
    {"elsewhere", [] { Change(Own, kWriteToNull), Own(nullptr); }},
    {"elsewhere_overflow", [] { Overflow(Own); }},
    {"elsewhere_broken", ShowBrokenFault},
    {"elsewhere_standing", StandInFilter},
    {"second_addin", CrashInSecondAddin},
    {"none", [] {}},
    {"other_filter", SetOtherFilter},
    {"filter_gone", SetOtherFilter, LogFault, WriteToNull},
    {"filter_changed", SetOtherFilter, CallModules, WriteToNull},
};

// Lets this process see a product of its own in the registry.
void InstallProduct(const std::string& library) {
    HKEY key = nullptr;
    ::RegCreateKeyA(HKEY_CURRENT_USER, "Software\\mlxo crash host", &key);
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, key);
    ::RegSetKeyValueA(HKEY_LOCAL_MACHINE, "SOFTWARE\\QZ\\Mail Plugin", "ProductInfo", REG_SZ,
                      library.c_str(), static_cast<DWORD>(library.size() + 1));
    ::RegCloseKey(key);
}

// What the add-in is connected to: the crash happens when the add-in first looks at it.
struct Application final : IDispatch {
    explicit Application(void (*its_cause)()) : cause(its_cause) {}

    HRESULT WINAPI QueryInterface(REFIID id, void** out) override {
        constexpr IID kApplication = {0x00063001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
        *out = id == IID_IUnknown || id == IID_IDispatch || id == kApplication ? this : nullptr;
        return *out != nullptr ? S_OK : E_NOINTERFACE;
    }
    ULONG WINAPI AddRef() override { return 1; }
    ULONG WINAPI Release() override { return 1; }
    HRESULT WINAPI GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT WINAPI GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        if (!crashed) crashed = true, cause();
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT WINAPI Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                          UINT*) override {
        return DISP_E_MEMBERNOTFOUND;
    }

    void (*const cause)();
    bool crashed = false;
};

// The add-in's interface, as far as it is used.
struct Extensibility : IDispatch {
    virtual HRESULT WINAPI OnConnection(IDispatch* application, int mode, IDispatch* instance,
                                        SAFEARRAY** custom) = 0;
    virtual HRESULT WINAPI OnDisconnection(int mode, SAFEARRAY** custom) = 0;
};
constexpr IID kExtensibility = {
    0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};
constexpr CLSID kAddin = {
    0xF061D664, 0xE4F5, 0x469A, {0x90, 0x1A, 0x45, 0x51, 0xDE, 0x4C, 0x0E, 0x8A}};

Extensibility* addin = nullptr;  // the one that is being connected

// The add-in refuses an application that knows no name, and is released.
void Connect(Application& application) {
    using GetClassObject = HRESULT(WINAPI*)(REFCLSID, REFIID, void**);
    const auto get_class_object = Find<GetClassObject>(module, "DllGetClassObject");
    IClassFactory* factory = nullptr;
    get_class_object(kAddin, IID_IClassFactory, reinterpret_cast<void**>(&factory));
    factory->CreateInstance(nullptr, kExtensibility, reinterpret_cast<void**>(&addin));
    factory->Release();
    addin->OnConnection(&application, 1, nullptr, nullptr);
    addin->Release();
}

void CrashInSecondAddin() {
    static Extensibility* const first_addin = addin;
    Application application([] { first_addin->OnDisconnection(0, nullptr), WriteToNull(); });
    Connect(application);
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 2 && std::string_view(arguments[1]) == "--version") {
        std::puts("crash_host " MLXO_VERSION);
        return 0;
    }
    if (count != 5) return 100;
    log_file = ::CreateFileA(arguments[3], FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                             nullptr, OPEN_ALWAYS, 0, nullptr);
    const Crash* crash = nullptr;
    for (const Crash& each : kCrashes) {
        if (each.name == arguments[4]) crash = &each;
    }
    if (crash == nullptr) return 101;

    // What a dump holds, and what not.
    [[maybe_unused]] volatile char on_stack[] = "on the ?????";
    auto* const on_heap = new volatile char[64]{};
    for (int i = 0; i < 5; ++i) on_stack[7 + i] = "stack"[i];
    for (int i = 0; i < 11; ++i) on_heap[i] = static_cast<char>("on the heap"[i]);

    InstallProduct(arguments[2]);
    Patch(Find<void*>(::LoadLibraryW(L"faultrep.dll"), "ReportFault"),
          LoadAddress(reinterpret_cast<const void*>(LogReport)) + Code{0xFF, 0xE0});
    ::SetUnhandledExceptionFilter(LogFault);

    module = ::LoadLibraryA(arguments[1]);
    first = Find<ThreadFunction>(module, "ExchEntryPoint");
    second = Find<ThreadFunction>(module, "DllRegisterServer");
    if (first == nullptr || second == nullptr) return 102;
    ::CoInitialize(nullptr);
    Application application(crash->cause);
    Connect(application);
    if (!application.crashed) return 103;
    if (crash->second_cause != nullptr) {
        ::SetUnhandledExceptionFilter(crash->filter);
        Application again(crash->second_cause);
        Connect(again);
    }

    Find<HRESULT(WINAPI*)()>(module, "DllCanUnloadNow")();
    ::FreeLibrary(module);
    Log("module loaded ", ::GetModuleHandleA(arguments[1]) != nullptr);
    Log("filter put back ", ::SetUnhandledExceptionFilter(nullptr) == LogFault);
    if (standing != nullptr) ::SignalObjectAndWait(leave_filter, standing, INFINITE, FALSE);
    return 0;
}
