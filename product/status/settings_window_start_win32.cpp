#include "product/status/settings_window_start.h"

#include <windows.h>
// The order matters: it needs windows.h.
#include <objbase.h>
#include <sddl.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <string>

#include "product/state/places.h"
#include "remote/rpc/identity_win32.h"
#include "vek/core/throw.h"
#include "vek/platform/handle_win32.h"

namespace reference_product {
namespace {

using vek::platform::UniqueHandle;

void Check(HRESULT code) {
    if (FAILED(code)) vek::ThrowResult(static_cast<vek::result_t>(code));
}

// An apartment for this thread while it lives. The thread may have one of another kind.
class Apartment {
public:
    Apartment() noexcept : entered_(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~Apartment() {
        if (SUCCEEDED(entered_)) ::CoUninitialize();
    }
    Apartment(const Apartment&) = delete;
    Apartment& operator=(const Apartment&) = delete;

private:
    const HRESULT entered_;
};

// What came of it; without it COM is not used.
std::atomic<HRESULT> com_security{CO_E_NOTINITIALIZED};

// Others may learn who this process is, and not act as it; only itself and the system may call it;
// what it is given runs no code here, and nothing is started as its own account.
HRESULT SecureCom() {
    const auto self = remote::TheIdentitySource().Self();
    if (!self) return E_ACCESSDENIED;
    const std::string text =
        "O:" + self->account + "G:" + self->account + "D:(A;;3;;;SY)(A;;3;;;" + self->account + ")";
    PSECURITY_DESCRIPTOR made = nullptr;
    if (::ConvertStringSecurityDescriptorToSecurityDescriptorA(text.c_str(), SDDL_REVISION_1, &made,
                                                               nullptr) == FALSE)
        return HRESULT_FROM_WIN32(::GetLastError());
    const vek::platform::UniqueLocal<void> owned(made);
    PSID owner = nullptr, group = nullptr;
    PACL list = nullptr;
    BOOL unused = FALSE;
    ::GetSecurityDescriptorOwner(made, &owner, &unused);
    ::GetSecurityDescriptorGroup(made, &group, &unused);
    ::GetSecurityDescriptorDacl(made, &unused, &list, &unused);
    SECURITY_DESCRIPTOR security;  // COM takes an absolute one
    ::InitializeSecurityDescriptor(&security, SECURITY_DESCRIPTOR_REVISION);
    ::SetSecurityDescriptorOwner(&security, owner, FALSE);
    ::SetSecurityDescriptorGroup(&security, group, FALSE);
    ::SetSecurityDescriptorDacl(&security, TRUE, list, FALSE);
    return ::CoInitializeSecurity(&security, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_PKT_PRIVACY,
                                  RPC_C_IMP_LEVEL_IDENTIFY, nullptr,
                                  EOAC_NO_CUSTOM_MARSHAL | EOAC_DISABLE_AAA, nullptr);
}

// The session moniker: the class object of a server that runs in that session, as the interactive
// user; making an object of it shows the window.
void AskInSession(std::uint32_t session_id) {
    Check(com_security);
    const Apartment apartment;
    std::array<wchar_t, 40> text{};  // in braces, which a moniker of a class does without
    ::StringFromGUID2(kSettingsWindowClass, text.data(), static_cast<int>(text.size()));
    const std::wstring id(text.data() + 1, text.data() + 37);
    const std::wstring name = L"Session:" + std::to_wstring(session_id) + L"!clsid:" + id;
    BIND_OPTS3 options{};
    options.cbStruct = sizeof options;
    options.dwClassContext = CLSCTX_LOCAL_SERVER;
    IClassFactory* window_class = nullptr;
    Check(::CoGetObject(name.c_str(), &options, IID_IClassFactory,
                        reinterpret_cast<void**>(&window_class)));
    IUnknown* shown = nullptr;
    const HRESULT asked =
        window_class->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&shown));
    if (SUCCEEDED(asked)) shown->Release();
    window_class->Release();
    Check(asked);
}

void StartBeside() {
    const std::wstring program = (ModuleFolder() / L"mlxo_settings.exe").native();
    std::wstring command = L'"' + program + L'"';
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION started{};
    if (::CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                         nullptr, &start, &started) == FALSE)
        Check(HRESULT_FROM_WIN32(::GetLastError()));
    const UniqueHandle process(started.hProcess), thread(started.hThread);
}

}  // namespace

std::shared_ptr<void> PrepareSettingsWindows(WindowRoad road) {
    if (road != WindowRoad::kSession) return nullptr;
    auto apartment = std::make_shared<Apartment>();  // what is said of COM goes with the last one
    com_security = SecureCom();
    return apartment;
}

void StartSettingsWindow(WindowRoad road, std::uint32_t session_id) {
    // Wine has no moniker of sessions, and one session alone.
    if (road == WindowRoad::kSession && !remote::IsWine()) return AskInSession(session_id);
    StartBeside();
}

}  // namespace reference_product
