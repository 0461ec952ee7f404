#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "mapi/exchange_extension.h"
#include "sandbox/outlook/host/application_object.h"

namespace sandbox::host {

// One add-in, found by its ProgID, as Outlook loads and connects it. Outlook's thread.
class Addin {
public:
    explicit Addin(std::wstring prog_id) : prog_id_(std::move(prog_id)) {}
    Addin(const Addin&) = delete;
    Addin& operator=(const Addin&) = delete;

    // Creates the object and connects it. When that fails an add-in that is registered as one is
    // not loaded at the next start: its LoadBehavior becomes 2.
    HRESULT Connect(IDispatch& application, ConnectMode mode);
    void TellStartupComplete();
    // With shutdown notifications alone.
    void TellBeginShutdown();
    void Disconnect(DisconnectMode mode);
    bool is_connected() const { return addin_ != nullptr; }

    // The library's entry point for client extensions: null where it has none, or gives none.
    vek::RefPtr<plugins::mapi::IExchExt> MakeExtension();
    // All extensions have been released.
    void FreeExtensions();

    const std::wstring& prog_id() const { return prog_id_; }

private:
    const std::wstring prog_id_;
    vek::RefPtr<IExtensibility> addin_;
    vek::RefPtr<IDispatch> entry_;  // what it can ask of itself
    HMODULE extensions_ = nullptr;  // loaded for them
};

// Has COM unload what nobody needs. Whether no library of that path is left in the end: its own
// threads may need a moment.
bool UnloadLibraries(const std::wstring& path);

// Serves the messages of this thread for that long, and once at least.
void ServeMessages(std::chrono::milliseconds time);

}  // namespace sandbox::host
