// What the DLL exports. mlxo.def gives the exports their places.

#include <array>

#include "automation/automation_ids.h"
#include "com/module_path_win32.h"
#include "module/addin_object.h"
#include "module/extension_object.h"
#include "module/module_life.h"
#include "module/registration.h"
#include "options/pages_win32.h"

namespace {

namespace dll = plugins::dll;
namespace com = plugins::com;

// Outlook's options pages, with what this process has and the module's own resources.
template <auto kCreate>
HRESULT CreatePage(REFIID id, void** out) noexcept {
    return com::AtBorder(
        [&] { return kCreate({.policy = dll::PolicyWatcher()}, com::ThisModule(), id, out); });
}

// With all that runs for an object, which may have ended since the class object was given.
template <com::Creator kCreate>
HRESULT Create(REFIID id, void** out) noexcept {
    const com::InstanceMark until_made;
    dll::StartModule();
    return kCreate(id, out);
}

// A class that COM creates.
struct ModuleClass {
    CLSID id;
    com::Creator create;
};

constexpr std::array kClasses = {
    ModuleClass{{0xF061D664, 0xE4F5, 0x469A, {0x90, 0x1A, 0x45, 0x51, 0xDE, 0x4C, 0x0E, 0x8A}},
                Create<com::CreateObject<dll::AddinObject>>},
    ModuleClass{plugins::mail_processing::kPageAntivirusClass,
                Create<CreatePage<plugins::mail_processing::CreatePageAntivirus>>},
    ModuleClass{plugins::mail_processing::kPageUnableToConnectClass,
                Create<CreatePage<plugins::mail_processing::CreatePageUnableToConnect>>},
    ModuleClass{plugins::mail_processing::automation::kExchClientExtClass,
                Create<com::CreateObject<dll::ExtensionObject>>},
};

}  // namespace

extern "C" {

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

plugins::mapi::IExchExt* WINAPI ExchEntryPoint() { return dll::CreateRegisteredExtension(); }

HRESULT WINAPI DllCanUnloadNow() { return dll::EndModule() ? S_OK : S_FALSE; }

HRESULT WINAPI DllGetClassObject(REFCLSID class_id, REFIID id, void** out) {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    for (const ModuleClass& each : kClasses) {
        if (each.id != class_id) continue;
        dll::StartModule();
        return com::MakeClassFactory(each.create, id, out);
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT WINAPI DllRegisterServer() { return dll::RegisterModule(); }

HRESULT WINAPI DllUnregisterServer() { return dll::UnregisterModule(); }

// NOLINTEND(readability-inconsistent-declaration-parameter-name)

}  // extern "C"
