// The product's settings window, a program in the user's own session. Its user starts it, or COM
// for the product's service; whoever comes second brings the first one's window to the front.

#include <windows.h>
// The order matters: it needs windows.h.
#include <objbase.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string_view>

#include "common/loader/product_loader.h"
#include "mlxo_version.h"
#include "product/localization_service.h"
#include "product/settings_window/settings_dialog_win32.h"
#include "product/state/places.h"
#include "product/status/settings_window_start.h"
#include "vek/platform/handle_win32.h"
#include "vek/platform/user_languages.h"

namespace reference_product {
namespace {

// To the thread's message queue: somebody wants to see the window.
constexpr UINT kShowMessage = WM_APP + 2;

// How long a process that COM has started waits for somebody to ask for the window.
constexpr UINT kWaitForAsker = 30'000;  // ms

// COM makes an object of the class to have the window shown; the object itself is good for nothing
// else. On the thread of the window.
class WindowClass final : public IClassFactory {
public:
    explicit WindowClass(DWORD thread) noexcept : thread_(thread) {}
    virtual ~WindowClass() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
        if (out == nullptr) return E_POINTER;
        const bool known = id == IID_IUnknown || id == IID_IClassFactory;
        *out = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    // It lives as long as the process serves.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** out) override {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        if (outer != nullptr) return CLASS_E_NOAGGREGATION;
        if (::PostThreadMessageW(thread_, kShowMessage, 0, 0) == FALSE) return E_FAIL;
        return QueryInterface(id, out);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

private:
    const DWORD thread_;
};

// Registers the class for as long as it lives.
class Registration {
public:
    explicit Registration(IClassFactory& factory) noexcept : factory_(factory) {
        if (FAILED(::CoRegisterClassObject(kSettingsWindowClass, &factory, CLSCTX_LOCAL_SERVER,
                                           REGCLS_MULTIPLEUSE, &cookie_)))
            cookie_ = 0;
    }
    ~Registration() {
        if (cookie_ != 0) ::CoRevokeClassObject(cookie_);
        ::CoDisconnectObject(&factory_, 0);  // whoever has it still
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    IClassFactory& factory_;
    DWORD cookie_ = 0;
};

// The right to show the window, which one process of a session has at a time.
class Turn {
public:
    // The process that has it may be ending, or its window not be there yet.
    static constexpr int kLooks = 100;
    static constexpr DWORD kBetweenLooks = 50;  // ms

    Turn() noexcept : mutex_(::CreateMutexW(nullptr, FALSE, L"Local\\QZ.MailPlugin.Settings")) {}
    ~Turn() {
        if (taken_) ::ReleaseMutex(mutex_.get());
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    // Takes it, and gives false when another process shows its window instead, which has been
    // brought to the front then. Of one that does neither it takes no notice in the end.
    bool Take() noexcept {
        for (; looks_ != kLooks && !taken_; ++looks_) {
            if (::WaitForSingleObject(mutex_.get(), kBetweenLooks) != WAIT_TIMEOUT) {
                taken_ = true;
            } else if (SettingsDialog::BringAnothersToFront()) {
                return false;
            }
            ServeCom();
        }
        return true;
    }

private:
    // Its callers would wait as well. Whoever asks for the window meanwhile is about to get it.
    static void ServeCom() noexcept {
        for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;)
            ::DispatchMessageW(&message);
    }

    const vek::platform::UniqueHandle mutex_;
    bool taken_ = false;
    int looks_ = 0;  // all of them: it is not waited for again
};

// Runs the message loop of the window, which is made when somebody wants to see it.
int Run(HINSTANCE program, bool is_wanted) {
    Turn turn;
    if (is_wanted && !turn.Take()) return 0;
    WindowClass window_class(::GetCurrentThreadId());
    const Registration registration(window_class);
    plugins::loader::ServiceAccess services(
        plugins::loader::ProductLoaderFactory({}, {}, ProductInterfaces()));
    const std::filesystem::path folder = ModuleFolder();
    const auto texts = vek::MakeObject<LocalizationService>(
        std::make_shared<TextFolder>(folder / "texts", [](auto) {}), folder / "resources",
        vek::platform::UserLanguages());
    std::unique_ptr<SettingsDialog> dialog;
    const auto show = [&] {
        if (dialog) return dialog->BringToFront();
        if (!turn.Take()) return ::PostQuitMessage(0);
        dialog = std::make_unique<SettingsDialog>(program, services, WindowTexts(texts));
    };
    const UINT_PTR timer = is_wanted ? 0 : ::SetTimer(nullptr, 0, kWaitForAsker, nullptr);
    if (is_wanted) show();
    for (MSG message; ::GetMessageW(&message, nullptr, 0, 0) > 0;) {
        if (message.hwnd == nullptr && message.message == kShowMessage) {
            show();
        } else if (message.hwnd == nullptr && message.message == WM_TIMER &&
                   message.wParam == timer) {
            ::KillTimer(nullptr, timer);
            if (!dialog) break;
        } else if (!dialog || ::IsDialogMessageW(dialog->window(), &message) == FALSE) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
    }
    dialog.reset();
    services.End();
    return 0;
}

int Main(HINSTANCE program, std::string_view arguments) {
    if (arguments == "--version") {
        std::puts("mlxo_settings " MLXO_VERSION);
        return 0;
    }
    const bool is_wanted = arguments.find("mbedding") == arguments.npos;
    if (FAILED(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return 1;
    int code = 0;
    try {
        code = Run(program, is_wanted);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
        code = 1;
    }
    ::CoUninitialize();
    return code;
}

}  // namespace
}  // namespace reference_product

int WINAPI WinMain(HINSTANCE program, HINSTANCE, LPSTR arguments, int) {
    return reference_product::Main(program, arguments);
}
