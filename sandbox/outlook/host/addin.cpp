#include "sandbox/outlook/host/addin.h"

#include <objbase.h>

#include <utility>

#include "sandbox/outlook/host/addin_key.h"
#include "vek/core/text.h"

namespace sandbox::host {
namespace {

// What Outlook hands over and add-ins of today do not read: an empty array.
class CustomArray {
public:
    CustomArray() : array_(::SafeArrayCreateVector(VT_VARIANT, 1, 0)) {}
    ~CustomArray() { ::SafeArrayDestroy(array_); }
    CustomArray(const CustomArray&) = delete;
    CustomArray& operator=(const CustomArray&) = delete;

    SAFEARRAY** get() { return &array_; }

private:
    SAFEARRAY* array_;
};

}  // namespace

HRESULT Addin::Connect(IDispatch& application, ConnectMode mode) {
    CLSID id;
    vek::RefPtr<IExtensibility> addin;
    HRESULT code = ::CLSIDFromProgID(prog_id_.c_str(), &id);
    if (SUCCEEDED(code))
        code = ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, iid::kExtensibility,
                                  addin.put_void());
    if (SUCCEEDED(code)) {
        entry_ = MakeAddinEntry(std::u16string(prog_id_.begin(), prog_id_.end()));
        CustomArray custom;
        code = addin->OnConnection(&application, mode, entry_.get(), custom.get());
    }
    if (FAILED(code)) {
        if (LoadBehavior(prog_id_)) SetLoadBehavior(prog_id_, load_behavior::kAtStartup);
        entry_.reset();
        return code;
    }
    addin_ = std::move(addin);
    return code;
}

void Addin::TellStartupComplete() {
    CustomArray custom;
    if (addin_) addin_->OnStartupComplete(custom.get());
}

void Addin::TellBeginShutdown() {
    CustomArray custom;
    if (addin_) addin_->OnBeginShutdown(custom.get());
}

void Addin::Disconnect(DisconnectMode mode) {
    if (const auto addin = std::exchange(addin_, nullptr)) {
        CustomArray custom;
        addin->OnDisconnection(mode, custom.get());
    }
    entry_.reset();
}

vek::RefPtr<plugins::mapi::IExchExt> Addin::MakeExtension() {
    using EntryPoint = plugins::mapi::IExchExt*(WINAPI*)();
    if (extensions_ == nullptr) extensions_ = ::LoadLibraryW(LibraryOf(prog_id_).c_str());
    if (extensions_ == nullptr) return nullptr;
    const auto entry_point = reinterpret_cast<EntryPoint>(
        reinterpret_cast<void*>(::GetProcAddress(extensions_, "ExchEntryPoint")));
    return vek::RefPtr<plugins::mapi::IExchExt>::Adopt(entry_point ? entry_point() : nullptr);
}

void Addin::FreeExtensions() {
    if (extensions_ != nullptr) ::FreeLibrary(std::exchange(extensions_, nullptr));
}

bool UnloadLibraries(const std::wstring& path) {
    for (int tries = 0; tries != 100; ++tries) {
        ::CoFreeUnusedLibrariesEx(0, 0);
        if (path.empty() || ::GetModuleHandleW(path.c_str()) == nullptr) return true;
        ServeMessages(std::chrono::milliseconds(10));
    }
    return false;
}

void ServeMessages(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    for (;;) {
        for (MSG message; ::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
            ::TranslateMessage(&message);
            ::DispatchMessageW(&message);
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) return;
        ::MsgWaitForMultipleObjectsEx(0, nullptr, static_cast<DWORD>(left.count()), QS_ALLINPUT,
                                      MWMO_INPUTAVAILABLE);
    }
}

}  // namespace sandbox::host
