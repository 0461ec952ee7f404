// The plug-in's DLL, as a host loads, uses and unloads it.

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h, which they need.
#include <psapi.h>
#include <tlhelp32.h>

#include "automation/automation_ids.h"
#include "mapi/property_tags.h"
#include "mlxo_version.h"
#include "module/addin_object.h"
#include "options/pages_win32.h"
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
            R"({"TraceRoot": "%QZAppData%", "TraceLevel": "700"})");
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
    const TemporaryFolder trace_;
    const ScopedEnvironment trace_name_{"QZAppData", Utf8(trace_.path())};
    CallPlan plan_;
    const vek::RefPtr<FakeObject> inspectors_ = vek::MakeObject<FakeObject>(plan_),
                                  outlook_ = vek::MakeObject<FakeObject>(plan_, iid::kApplication);
};

struct Call {
    DISPID id;
    std::vector<OwnedVariant> arguments;  // in reverse order
    HRESULT result;
    UINT wrong = 9;  // none
};

TEST_F(ModuleTest, GivesClassObjectsAndOneIdentityEach) {
    Module module;
    vek::RefPtr<IClassFactory> factory;
    EXPECT_EQ(module.ClassObject(IID_IUnknown, factory), CLASS_E_CLASSNOTAVAILABLE);
    const auto enter = module.Export<mapi::IExchExt * WINAPI()>("ExchEntryPoint");
    EXPECT_EQ(enter(), nullptr) << "it is not registered";
    ASSERT_EQ(module.ClassObject(automation::kExchClientExtClass, factory), S_OK);
    EXPECT_FALSE(module.CanUnload()) << "somebody has the class object";
    void* made = &made;
    EXPECT_EQ(
        factory->CreateInstance(static_cast<IDispatch*>(inspectors_.get()), IID_IUnknown, &made),
        CLASS_E_NOAGGREGATION);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, iid::kMailItem, &made), E_NOINTERFACE);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    factory.reset();
    EXPECT_FALSE(module.CanUnload()) << "it is locked";
    ASSERT_EQ(module.ClassObject(automation::kExchClientExtClass, factory), S_OK);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    factory.reset();
    EXPECT_TRUE(module.CanUnload());

    const RegisteredExtension registered(module);
    const auto extension = vek::RefPtr<mapi::IExchExt>::Adopt(enter());
    ASSERT_TRUE(extension);
    const IID ids[] = {IID_IUnknown,
                       mapi::iid::kExchExt,
                       mapi::iid::kExchExtSessionEvents,
                       mapi::iid::kExchExtMessageEvents,
                       IID_IConnectionPointContainer,
                       iid::kExchExtObject};
    vek::RefPtr<IUnknown> first, back;
    ASSERT_EQ(extension->QueryInterface(IID_IUnknown, first.put_void()), S_OK);
    for (const IID& from : ids) {
        vek::RefPtr<IUnknown> part;
        ASSERT_EQ(first->QueryInterface(from, part.put_void()), S_OK) << from.Data1;
        ASSERT_EQ(part->QueryInterface(IID_IUnknown, back.put_void()), S_OK);
        EXPECT_EQ(back, first) << from.Data1;
    }
}

TEST_F(ModuleTest, RefusesLateCallsThatDoNotFit) {
    Module module;
    const RegisteredExtension registered(module);
    const auto addin = module.Create<IDispatch>(kAddinClass, IID_IDispatch);
    wchar_t name[] = L"onconnection", argument[] = L"Application", unknown[] = L"OnFire";
    wchar_t* names[] = {name, argument};
    DISPID ids[2];
    EXPECT_EQ(addin->GetIDsOfNames(IID_NULL, names, 1, 0, ids), S_OK);
    EXPECT_EQ(ids[0], 1);
    EXPECT_EQ(addin->GetIDsOfNames(IID_NULL, names, 2, 0, ids), DISP_E_UNKNOWNNAME);
    wchar_t* other = unknown;
    EXPECT_EQ(addin->GetIDsOfNames(IID_NULL, &other, 1, 0, ids), DISP_E_UNKNOWNNAME);

    SAFEARRAY* const none = ::SafeArrayCreateVector(VT_VARIANT, 0, 0);
    const auto custom = [&] {
        SAFEARRAY* copy = nullptr;
        ::SafeArrayCopy(none, &copy);
        return Typed(VT_ARRAY | VT_VARIANT, copy);
    };
    const auto missing = [] { return Typed<SCODE>(VT_ERROR, DISP_E_PARAMNOTFOUND); };
    const auto make = [](auto... each) {
        std::vector<OwnedVariant> all;
        (all.push_back(std::move(each)), ...);
        return all;
    };
    const auto outlook = [&] { return Dispatch(outlook_.get()); };
    const Call calls[] = {
        {0, make(), DISP_E_MEMBERNOTFOUND},
        {6, make(custom()), DISP_E_MEMBERNOTFOUND},
        {1, make(), DISP_E_BADPARAMCOUNT},
        {1, make(custom(), outlook(), OwnedVariant(0)), DISP_E_BADPARAMCOUNT},
        {1, make(custom(), outlook(), OwnedVariant(0), missing()), DISP_E_PARAMNOTFOUND, 3},
        {1, make(custom(), outlook(), OwnedVariant(0), OwnedVariant(7)), DISP_E_TYPEMISMATCH, 3},
        {1, make(custom(), outlook(), OwnedVariant(u"x"), outlook()), DISP_E_TYPEMISMATCH, 2},
        {1, make(OwnedVariant(0), outlook(), OwnedVariant(0), outlook()), DISP_E_TYPEMISMATCH, 0},
        {5, make(OwnedVariant(0)), DISP_E_TYPEMISMATCH, 0},
        {5, make(custom()), S_OK},
        // Not Outlook: the add-in's own failure.
        {1, make(custom(), outlook(), OwnedVariant(0), Dispatch(inspectors_.get())),
         DISP_E_EXCEPTION},
        {1, make(custom(), outlook(), Typed<short>(VT_I2, 0), outlook()), S_OK},
        {2, make(custom(), OwnedVariant(0)), S_OK},
    };
    for (const Call& call : calls) {
        SCOPED_TRACE(&call - calls);
        std::vector<VARIANT> given;
        for (const OwnedVariant& each : call.arguments) given.push_back(each.get());
        DISPPARAMS parameters{given.data(), nullptr, static_cast<UINT>(given.size()), 0};
        plan_.Start(0);
        UINT wrong = 9;
        plugins::com::OwnedExceptionInfo info;
        EXPECT_EQ(addin->Invoke(call.id, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr,
                                info.address(), &wrong),
                  call.result);
        EXPECT_EQ(wrong, call.wrong);
        const bool connects = call.id == 1 && call.result == S_OK;
        EXPECT_EQ(plan_.log.empty(), !connects) << plan_.log;
        EXPECT_EQ(info.Code(), call.result == DISP_E_EXCEPTION ? E_FAIL : DISP_E_EXCEPTION);
    }
    // Neither they nor the events of an item that is followed are anything but methods.
    ASSERT_TRUE(product_.Start());
    const auto connected = Connect(module);
    const auto mail = vek::MakeObject<FakeObject>(plan_, iid::kMailItem);
    outlook_->Raise(iid::kApplicationEvents11, 0xFBA7, {Dispatch(mail.get()).get()});
    const auto sink = mail->sinks.at(iid::kItemEvents10.Data1);
    plan_.log.clear();
    for (const auto& [object, id] :
         {std::pair{addin, DISPID{5}}, std::pair{sink, DISPID{0xF001}}}) {
        const auto call = [&](REFIID kept, WORD kind) {
            DISPPARAMS nothing{};
            return object->Invoke(id, kept, 0, kind, &nothing, nullptr, nullptr, nullptr);
        };
        EXPECT_EQ(call(IID_NULL, DISPATCH_PROPERTYGET), DISP_E_MEMBERNOTFOUND);
        EXPECT_EQ(call(IID_IDispatch, DISPATCH_METHOD), DISP_E_UNKNOWNINTERFACE);
    }
    EXPECT_EQ(plan_.log, "");
    connected->OnDisconnection(0, nullptr);
    ::SafeArrayDestroy(none);
}

// What this process has of the system's.
struct Footprint {
    Footprint() {
        DWORD flags = 0;
        for (std::uintptr_t i = 4; i < 0x10000; i += 4) {
            const auto each = reinterpret_cast<HANDLE>(i);
            if (::GetHandleInformation(each, &flags) == FALSE) continue;
            ++(::GetThreadId(each) != 0 ? thread_handles : handles);
        }
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
                if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
                    (entry.cbData == kThreadRecord ? records : memory) += entry.cbData;
        }
    }
    // What the runtime library for threads has of one that it did not start.
    static constexpr DWORD kThreadRecord = 480;

    int handles = 0;  // of other things than threads
    int thread_handles = 0;
    int threads = 0;
    std::size_t memory = 0;  // of the heaps, without records
    std::size_t records = 0;
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
                ASSERT_TRUE(Soon([&] { return product_.Logged("check ") == round; })) << round;
                EXPECT_EQ(addin->OnDisconnection(0, nullptr), S_OK);
            }
            ASSERT_TRUE(Soon([&] { return module.CanUnload(); })) << round;
        }
        ASSERT_TRUE(Soon([] { return !Module::IsLoaded(); })) << round;
        if (round == kWarm) warm = Footprint();
    }
    Footprint now;
    // The system's threads that serve calls end when they have had none for a while.
    EXPECT_TRUE(Soon([&] { return (now = {}).threads <= warm.threads + 1; }));
    // Not flat: of each load of this module, and of the stand-in's MAPI, the runtime library for
    // threads keeps the lock of its thread slots, two semaphores. It keeps a record for each of the
    // system's threads that has raised an exception in it and goes on, with a handle of the thread
    // and an event; spare records, too. How many there are, the machine's load says. No lock of the
    // module's own is among what stays.
    constexpr int kLoads = kRounds - kWarm;
    const int kept_threads = now.thread_handles - warm.thread_handles;
    EXPECT_LE(now.handles - kept_threads, warm.handles + kLoads * 4 + 8);
    EXPECT_LE(kept_threads, kLoads * now.threads);
    EXPECT_LE(now.memory, warm.memory + kLoads * 2048);
    RecordProperty("handles", now.handles - warm.handles - kept_threads);
    RecordProperty("thread_handles", kept_threads);
    RecordProperty("bytes", static_cast<int>(now.memory - warm.memory));
    RecordProperty("record_bytes", static_cast<int>(now.records - warm.records));
    std::string trace;
    for (const auto& file : std::filesystem::directory_iterator(trace_.path()))
        trace += ReadFile(file.path());
    EXPECT_TRUE(trace.starts_with("OXW TRACE FILE\t Tracer version: " MLXO_VERSION "  UTC"));
    EXPECT_NE(trace.rfind("\r\nEnd of trace file, local time: "), trace.npos);
    EXPECT_EQ(trace.rfind("\r\n"), trace.size() - 2);
    EXPECT_GT(trace.rfind("End of trace file"), trace.rfind("OXW TRACE FILE"));
}

TEST_F(ModuleTest, FollowsTheRegistryForAsLongAsThereAreObjects) {
    Module module;
    const auto traced = [&](std::string_view line) {
        std::string trace;
        for (const auto& file : std::filesystem::directory_iterator(trace_.path()))
            trace += ReadFile(file.path());
        return trace.find(line) != trace.npos;
    };
    vek::RefPtr<IClassFactory> factory;
    ASSERT_EQ(module.ClassObject(kPageAntivirusClass, factory), S_OK);
    for (const wchar_t* const library : {L"C:\\other.dll", L""}) {
        vek::RefPtr<IUnknown> page;
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, page.put_void()), S_OK);
        EXPECT_FALSE(module.CanUnload());
        EXPECT_EQ(traced("RegistryWatcher: unsubscribing "), *library == 0) << "of the first";
        ScratchRegistry::Set(L"SOFTWARE\\QZ\\Mail Plugin", L"ProductInfo", library);
        EXPECT_TRUE(Soon([&] {
            return traced(*library != 0 ? "The installed product has changed"
                                        : "The installed product has gone");
        }));
        page.reset();
        EXPECT_TRUE(traced("RegistryWatcher: unsubscribing "));
    }
    EXPECT_FALSE(module.CanUnload());
    factory.reset();
    EXPECT_TRUE(module.CanUnload());
    EXPECT_TRUE(traced("End of trace file"));
}

// The last CoUninitialize unloads whatever the module says: at any time, with anything.
TEST_F(ModuleTest, IsUnloadedWithoutBeingAsked) {
    const std::vector<std::string> kSilences[] = {
        {}, {"--silent-at", "check"}, {"--stopped-at", "settings"}};
    for (const auto& silence : kSilences) {
        SCOPED_TRACE(&silence - kSilences);
        ASSERT_TRUE(product_.Start(silence));
        // A stopped one has each event wait for it.
        const int first = &silence == &kSilences[2] ? 3 : 0;
        for (int round = first; round < 6; ++round) {
            SCOPED_TRACE(round);
            const int checks = product_.Logged("check ");
            Module module;
            vek::RefPtr<IDTExtensibility2> addin;
            {
                const RegisteredExtension extension(module);
                addin = Connect(module);
                Deliver();
            }
            // In the middle of a check, or after it.
            const bool waits = silence.empty() && round % 2 == 0;
            // A check that lasts is waited for: that takes a minute.
            const bool leaves = round < 4 && &silence != &kSilences[1];
            EXPECT_TRUE(!waits || Soon([&] { return product_.Logged("check ") > checks; }));
            EXPECT_EQ(leaves ? addin->OnDisconnection(0, nullptr) : S_OK, S_OK);
            // The others leak, and with them the module: it is held by what runs for them.
            const bool goes = round < 3 && leaves;
            if (!goes) static_cast<void>(addin.detach());
            addin.reset();
            module.Unload();
            outlook_->sinks.clear();
            EXPECT_TRUE(!goes || Soon([] { return !Module::IsLoaded(); }));
        }
        product_.Kill();
    }
}

}  // namespace
