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
        inspectors_->Has(L"Count", 0x50, OwnedVariant(0));
        outlook_->Has(L"Name", 0x3001, OwnedVariant(u"Outlook"))
            .Has(L"Version", 0x0116, OwnedVariant(u"16.0"))
            .Has(L"GetNamespace", 0x0110, Dispatch(nullptr))
            .Has(L"Inspectors", 0x0118, Dispatch(inspectors_.get()));
    }
    ~ModuleTest() override { ::CoUninitialize(); }

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

TEST_F(ModuleTest, ConnectsAndGoes) {
    ASSERT_TRUE(product_.Start());
    Module module;
    {
        const RegisteredExtension extension(module);
        const auto addin = Connect(module);
        EXPECT_FALSE(module.CanUnload());
        Deliver();
        EXPECT_TRUE(ProductFolder::Soon([&] {
            return product_.log().find("check") != std::string::npos;
        })) << product_.log();
        std::printf("%s\n", product_.log().c_str());
        EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
    }
    EXPECT_TRUE(ProductFolder::Soon([&] { return module.CanUnload(); }));
    module.Unload();
    EXPECT_FALSE(Module::IsLoaded());
}

}  // namespace
