// The plug-in's DLL, as a host loads, uses and unloads it.

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, which they need.
#include <psapi.h>
#include <tlhelp32.h>

#include "automation/automation_ids.h"
#include "mapi/property_tags.h"
#include "module/addin_object.h"
#include "sandbox/outlook/message_file.h"
#include "tests/automation/fake_object.h"
#include "tests/product/product_folder.h"
#include "tests/support/scratch_registry_win32.h"
#include "vek/platform/handle_win32.h"

namespace {

using namespace tests;
using namespace plugins::mail_processing;
using plugins::dll::IDTExtensibility2;
using plugins::dll::kExtensibilityInterface;
namespace iid = automation::iid;
namespace mapi = plugins::mapi;

constexpr CLSID kAddinClass = {
    0xF061D664, 0xE4F5, 0x469A, {0x90, 0x1A, 0x45, 0x51, 0xDE, 0x4C, 0x0E, 0x8A}};
constexpr HRESULT kUnknownMember = DISP_E_MEMBERNOTFOUND;

std::filesystem::path Built(const char* folder, const char* file) {
    return sandbox::ProgramFolder().parent_path() / folder / file;
}

// The DLL in this process, by its exports alone.
class Module {
public:
    ~Module() {
        if (library_ != nullptr) Unload();
    }
    template <class Function>
    Function* Export(const char* name) const {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(::GetProcAddress(library_, name)));
    }
    HRESULT ClassObject(const CLSID& id, vek::RefPtr<IClassFactory>& factory) const {
        return Export<HRESULT WINAPI(REFCLSID, REFIID, void**)>("DllGetClassObject")(
            id, IID_IClassFactory, factory.put_void());
    }
    template <class Interface>
    vek::RefPtr<Interface> Create(const CLSID& id, const IID& interface_id) const {
        vek::RefPtr<IClassFactory> factory;
        EXPECT_EQ(ClassObject(id, factory), S_OK);
        vek::RefPtr<Interface> object;
        EXPECT_EQ(factory->CreateInstance(nullptr, interface_id, object.put_void()), S_OK);
        return object;
    }
    bool CanUnload() const { return Export<HRESULT WINAPI()>("DllCanUnloadNow")() == S_OK; }
    void Unload() { ::FreeLibrary(std::exchange(library_, nullptr)); }
    static bool IsLoaded() { return ::GetModuleHandleW(L"mlxo.dll") != nullptr; }

private:
    HMODULE library_ = ::LoadLibraryW(Built("module", "mlxo.dll").c_str());
};

// The class of extensions, registered with COM in this process, where the module looks for it.
class RegisteredExtension {
public:
    explicit RegisteredExtension(const Module& module) {
        vek::RefPtr<IClassFactory> factory;
        EXPECT_EQ(module.ClassObject(automation::kExchClientExtClass, factory), S_OK);
        EXPECT_EQ(::CoRegisterClassObject(automation::kExchClientExtClass, factory.get(),
                                          CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &cookie_),
                  S_OK);
    }
    ~RegisteredExtension() { ::CoRevokeClassObject(cookie_); }

private:
    DWORD cookie_ = 0;
};

// Outlook with a product beside it, and one mail in its store.
class ModuleTest : public testing::Test {
protected:
    ModuleTest() : product_("when incoming any do set-subject \"[in] {subject}\"\n") {
        EXPECT_EQ(::CoInitialize(nullptr), S_OK);
        using sandbox::outlook::PropertyValue;
        sandbox::outlook::MessageRecord mail;
        mail.properties.Set(mapi::tag::kMessageClassA, PropertyValue::Text("IPM.Note"));
        mail.properties.Set(mapi::tag::kEntryId, PropertyValue::Binary("\x0A\x1B"));
        sandbox::outlook::SaveMessageFile(store_.path() / "mail.json", mail);
        const wchar_t* const client = L"Software\\Clients\\Mail\\Microsoft Outlook";
        ScratchRegistry::Set(client, L"MSIComponentID", L"{mapi}");
        ScratchRegistry::Set(client, L"MSIOfficeLCID", std::wstring_view(L"1033\0\0", 6),
                             REG_MULTI_SZ);
        ScratchRegistry::Set(L"Software\\Sandbox MAPI components", L"{mapi}/1033",
                             Built("tests", "sandbox_mapi.dll").native());
        const std::string& library = product_.library();
        ScratchRegistry::Set(L"SOFTWARE\\QZ\\Mail Plugin", L"ProductInfo",
                             std::wstring(library.begin(), library.end()));
        reference_product::ReplaceTextFile(
            std::filesystem::path(product_.path()) / "product_info.json",
            R"({"DataRoot": "c:/trace", "TraceRoot": "c:/trace", "TraceLevel": "800"})");
        reference_product::ReplaceTextFile(
            std::filesystem::path(product_.path()) / "settings.json",
            R"({"isPluginEnabled": true, "checkIncomingOnly": false, "policySettings": null,
                "userSettings": {"checkOnDelivery": true, "checkOnRead": true,
                                 "checkOnSend": true}})");
        inspectors_->Has(L"Count", 0x50, OwnedVariant(0));
        outlook_->Has(L"Name", 0x3001, OwnedVariant(u"Outlook"))
            .Has(L"Version", 0x0116, OwnedVariant(u"16.0"))
            .Has(L"GetNamespace", 0x0110, Dispatch(nullptr))
            .Has(L"Inspectors", 0x0118, Dispatch(inspectors_.get()));
    }
    ~ModuleTest() override { ::CoUninitialize(); }

    template <class Condition>
    static bool Soon(const Condition& condition) {
        return ProductFolder::Soon(condition);
    }

    vek::RefPtr<IDTExtensibility2> Connect(const Module& module) {
        auto addin = module.Create<IDTExtensibility2>(kAddinClass, kExtensibilityInterface);
        EXPECT_EQ(addin->OnConnection(outlook_.get(), 0, nullptr, nullptr), S_OK);
        return addin;
    }
    // The mail comes in.
    void Deliver() {
        const OwnedVariant ids(u"0A1B");
        EXPECT_EQ(outlook_->Raise(iid::kApplicationEvents11, 0xFAB5, {ids.get()}), S_OK);
    }

    const ScratchRegistry registry_;
    ProductFolder product_;
    const TemporaryFolder store_;
    const ScopedEnvironment store_name_{"MLXO_SANDBOX_STORE", Utf8(store_.path())};
    CallPlan plan_;
    const vek::RefPtr<FakeObject> inspectors_ = vek::MakeObject<FakeObject>(plan_),
                                  outlook_ = vek::MakeObject<FakeObject>(plan_, iid::kApplication);
};

// What this process has of the system's.
struct Footprint {
    Footprint() {
        DWORD flags = 0;
        for (std::uintptr_t i = 4; i < 0x10000; i += 4)
            handles += ::GetHandleInformation(reinterpret_cast<HANDLE>(i), &flags) != FALSE ? 1 : 0;
        const vek::platform::UniqueHandle all(::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
        THREADENTRY32 thread{};
        thread.dwSize = sizeof thread;
        for (BOOL more = ::Thread32First(all.get(), &thread); more != FALSE;
             more = ::Thread32Next(all.get(), &thread))
            threads += thread.th32OwnerProcessID == ::GetCurrentProcessId() ? 1 : 0;
        HANDLE heaps[64];
        const DWORD count = ::GetProcessHeaps(64, heaps);
        for (DWORD i = 0; i < count; ++i) {
            PROCESS_HEAP_ENTRY entry{};
            while (::HeapWalk(heaps[i], &entry) != FALSE)
                if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) memory += entry.cbData;
        }
    }
    int handles = 0;
    int threads = 0;
    std::size_t memory = 0;  // of the heaps
};

TEST_F(ModuleTest, LoadsChecksAndGoesAgainAndAgain) {
    ASSERT_TRUE(product_.Start());
    constexpr int kRounds = 100, kWarm = 20;
    Footprint warm;
    for (int round = 1; round <= kRounds; ++round) {
        {
            Module module;
            {
                const RegisteredExtension extension(module);
                const auto addin = Connect(module);
                Deliver();
                ASSERT_TRUE(Soon([&] { return product_.Logged("check ") == round; })) << product_.log();
                EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
            }
            ASSERT_TRUE(Soon([&] { return module.CanUnload(); })) << round;
        }
        ASSERT_TRUE(Soon([] { return !Module::IsLoaded(); })) << round;
        if (round == kWarm) warm = Footprint();
        if (round % 10 == 0) { Footprint f; std::printf("%d: %d handles %d threads %zu bytes\n", round, f.handles, f.threads, f.memory); }
    }
    const Footprint now;
    EXPECT_LE(now.handles, warm.handles + 3);
    EXPECT_LE(now.threads, warm.threads);
    EXPECT_LE(now.memory, warm.memory + (kRounds - kWarm) * 1024);
}

}  // namespace
