// The pages as controls, in the stand-in's dialog and in another maker's.

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "com/dialog_layout_win32.h"
#include "options/pages_win32.h"
#include "product/in_process_product.h"
#include "product/localization_service.h"
#include "product/settings_window_service.h"
#include "sandbox/outlook/page_host/page_host.h"
#include "tests/product/product_folder.h"
#include "tests/support/fake_settings.h"
#include "tests/support/recording_tracer.h"
#include "tests/support/scratch_registry_win32.h"
#include "tests/support/temporary_folder.h"

#include <commctrl.h>
#include <objsafe.h>

namespace plugins::mail_processing {
namespace {

using reference_product::InProcessProduct;
using sandbox::outlook::PageHost;
using Record = product::MailPluginSettings;

template <class Function>
Function FunctionOf(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void (*)()>(::GetProcAddress(library, name)));
}

std::wstring Text(HWND window) {
    wchar_t text[400]{};
    ::GetWindowTextW(window, text, 400);
    return text;
}

// How many of GDI's objects there are, by its table in the process's environment block: Wine's
// GetGuiResources counts none.
std::ptrdiff_t DrawingObjects() {
    struct Entry {
        std::uint8_t before[14], type, after[9];  // no type when it is free
    };
    constexpr std::size_t kTable = 0xF8, kEntries = 0x10000;
    const auto* const table = *reinterpret_cast<const Entry**>(__readgsqword(0x60) + kTable);
    return std::count_if(table, table + kEntries, [](const Entry& it) { return it.type != 0; });
}

struct PolicyWatcher final : vek::ObjectImpl<ISettingsWatcher> {
    vek::result_t Subscribe(ISettingsListener* one) noexcept override {
        return listener = vek::RefPtr<ISettingsListener>::Share(one), 0u;
    }
    vek::result_t Unsubscribe(ISettingsListener* one) noexcept override {
        return listener = listener.get() == one ? nullptr : listener, 0u;
    }
    vek::RefPtr<ISettingsListener> listener;
};

class PageControlsTest : public ::testing::Test {
protected:
    PageControlsTest() {
        EXPECT_TRUE(SUCCEEDED(::OleInitialize(nullptr)));
        Offer("Mail & more");
        product_->Offer(product::IProductSettings::kInterfaceId, settings_);
        product_->Offer(product::ISettingsWindow::kInterfaceId,
                        vek::MakeObject<reference_product::SettingsWindowService>(
                            [](std::string_view) {}, [] {}));
    }
    ~PageControlsTest() override {
        product_.reset();
        settings_.reset();
        ::OleUninitialize();
        EXPECT_EQ(tracer_->Count("300 "), 0u);
    }

    void Offer(const std::string& hint) {
        std::ofstream(folder_.path() / "en.json")
            << R"({"rightToLeft": false, "texts": [)"
            << R"({"resourceName": "AntiVirusDisableOrConfigure", "utf8Value": ")" << hint
            << R"("}, {"resourceName": "AntiVirusSettingsWhenRead", "utf8Value": "when &read"}]})";
        const vek::RefPtr<product::ILocalization> texts =
            vek::MakeObject<reference_product::LocalizationService>(
                std::make_shared<reference_product::TextFolder>(folder_.path(), [](auto) {}),
                folder_.path());
        product_->Offer(product::ILocalization::kInterfaceId, texts);
    }

    template <class Interface = IUnknown>
    vek::RefPtr<Interface> Page(REFIID id = IID_IUnknown, bool antivirus = true) {
        vek::RefPtr<Interface> page;
        const auto create = antivirus ? CreatePageAntivirus : CreatePageUnableToConnect;
        EXPECT_EQ(create(environment_, ::GetModuleHandleW(nullptr), id, page.put_void()), S_OK);
        return page;
    }

    Record record_{true, false, {}, {1, 0, 1}};
    vek::RefPtr<tests::FakeSettings> settings_ = vek::MakeObject<tests::FakeSettings>(
        [this](Record& record) { return record = record_, 0u; });
    vek::RefPtr<InProcessProduct> product_ = vek::MakeObject<InProcessProduct>(nullptr);
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        loader = product_;
        return vek::result::kOk;
    }};
    SettingsMemory memory_;
    const tests::TemporaryFolder folder_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    vek::RefPtr<PolicyWatcher> policy_ = vek::MakeObject<PolicyWatcher>();
    PageEnvironment environment_{
        .services = services_, .settings = memory_, .tracer = tracer_, .policy = policy_};
};

UINT wrong_argument = 9;

HRESULT Call(IDispatch& page, DISPID member, WORD flags, std::vector<VARIANT> arguments = {},
             VARIANT* result = nullptr, REFIID id = IID_NULL) {
    DISPPARAMS parameters{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
    return page.Invoke(member, id, 0, flags, &parameters, result, nullptr, &wrong_argument);
}

TEST_F(PageControlsTest, AnswerAsOneObjectToWhateverHostsAsk) {
    const IID* const kAll[] = {
        &IID_IUnknown,        &IID_IDispatch,         &kPropertyPage,
        &IID_IOleObject,      &IID_IOleInPlaceObject, &IID_IOleInPlaceActiveObject,
        &IID_IOleControl,     &IID_IViewObject2,      &IID_IPersistStreamInit,
        &IID_IPersistStorage, &IID_IQuickActivate,    &IID_IProvideClassInfo,
        &IID_IObjectSafety};
    for (const bool antivirus : {true, false}) {
        const auto page = Page(IID_IUnknown, antivirus);
        for (const IID* const from : kAll) {
            vek::RefPtr<IUnknown> one, same;
            ASSERT_EQ(page->QueryInterface(*from, one.put_void()), S_OK) << from->Data1;
            ASSERT_EQ(one->QueryInterface(IID_IUnknown, same.put_void()), S_OK);
            EXPECT_EQ(same, page) << from->Data1;
        }
        vek::RefPtr<IUnknown> own;
        EXPECT_EQ(page->QueryInterface(kPageAntivirusInterface, own.put_void()) == S_OK, antivirus);
        EXPECT_EQ(page->QueryInterface(kPageUnableToConnectInterface, own.put_void()) == S_OK,
                  !antivirus);
    }
    const auto safety = Page<IObjectSafety>(IID_IObjectSafety);
    DWORD supported = 1, enabled = 1;
    EXPECT_EQ(safety->GetInterfaceSafetyOptions(IID_IDispatch, &supported, &enabled), S_OK);
    EXPECT_EQ(supported | enabled, 0u);
    EXPECT_EQ(safety->SetInterfaceSafetyOptions(IID_IDispatch, 3, 1), E_FAIL);

    const auto page = Page<IDispatch>(IID_IDispatch);
    VARIANT file{}, context{}, result{};
    BSTR help = reinterpret_cast<BSTR>(1);
    LONG number = 1;
    file.vt = VT_BYREF | VT_BSTR, file.pbstrVal = &help;
    context.vt = VT_BYREF | VT_I4, context.plVal = &number;
    EXPECT_EQ(Call(*page, 0x2100, DISPATCH_METHOD, {context, file}), S_OK);
    EXPECT_TRUE(help == nullptr && number == 0);
    EXPECT_EQ(Call(*page, 0x2101, DISPATCH_PROPERTYGET, {}, &result), S_OK);
    EXPECT_TRUE(result.vt == VT_BOOL && result.boolVal == VARIANT_FALSE);
    EXPECT_EQ(Call(*page, 0x2102, DISPATCH_METHOD), S_OK);
    const std::pair<HRESULT, HRESULT> kWrong[] = {
        {Call(*page, 0x2100, DISPATCH_METHOD, {file, context}), DISP_E_TYPEMISMATCH},
        {Call(*page, 0x2100, DISPATCH_METHOD, {file}), DISP_E_BADPARAMCOUNT},
        {Call(*page, 0x2101, DISPATCH_PROPERTYPUT, {context}), DISP_E_MEMBERNOTFOUND},
        {Call(*page, 0x2103, DISPATCH_METHOD), DISP_E_MEMBERNOTFOUND},
        {Call(*page, 0x2102, DISPATCH_METHOD, {}, nullptr, IID_IUnknown), DISP_E_UNKNOWNINTERFACE}};
    for (const auto& [code, expected] : kWrong) EXPECT_EQ(code, expected);
    EXPECT_EQ(wrong_argument, 1u) << "the file";
}

TEST_F(PageControlsTest, ShowsStoresAndFollowsTheSettingsInOutlookAlone) {
    for (const auto kind : {PageHost::Kind::kOutlook, PageHost::Kind::kAnother}) {
        const bool is_outlook = kind == PageHost::Kind::kOutlook;
        record_.isPluginEnabled = true;
        settings_->kept = {9, 9, 9};
        const auto host = vek::MakeObject<PageHost>(kind);
        const auto page = Page<PropertyPage>(kPropertyPage);
        ASSERT_EQ(host->Open(page.get()), S_OK);
        EXPECT_EQ(Text(host->Control(1148)), L"Mail & more");
        ::SendMessageW(host->Control(1145), BM_CLICK, 0, 0);
        EXPECT_EQ(host->status_changes, is_outlook);
        VARIANT_BOOL dirty = VARIANT_FALSE;
        page->Apply();
        EXPECT_EQ(page->get_Dirty(&dirty), S_OK);
        EXPECT_EQ(dirty, VARIANT_TRUE) << "it stays so";
        EXPECT_EQ(settings_->kept,
                  is_outlook ? (product::MailSettings{1, 1, 1}) : (product::MailSettings{9, 9, 9}));
        ::SendMessageW(host->Control(1140), BM_CLICK, 0, 0);
        EXPECT_EQ(host->status_changes, is_outlook);

        // The timer, or within the second a change of the policy that another thread tells of.
        record_.isPluginEnabled = false;
        if (!is_outlook) {
            ::KillTimer(host->page(), 1);
            std::thread([&] { policy_->listener->OnSettingsChanged(); }).join();
        }
        EXPECT_TRUE(host->RunUntil([&] { return !::IsWindowVisible(host->Control(1143)); }));
        host->Close();
        EXPECT_TRUE(host->IsLeft() && host->wrong_calls == 0);
        EXPECT_FALSE(policy_->listener);
    }
}

TEST_F(PageControlsTest, ComeAndGoInAnyOrderAndLeaveNothing) {
    const std::uint32_t objects = vek::LiveObjectCount();
    vek::RefPtr<IUnknown> page;
    vek::RefPtr<PageHost> host;
    const std::function<void()> kEnds[] = {
        [&] { host->DestroyFrame(); }, [&] { host->Forget(); },
        [&] {  // while it tells of a click
            host->on_status_change = [&] { page.reset(), host->Close(); };
            ::SendMessageW(host->Control(1144), BM_CLICK, 0, 0);
        },
        [&] {  // twice active
            vek::RefPtr<IOleInPlaceObject> place;
            page->QueryInterface(IID_IOleInPlaceObject, place.put_void());
            EXPECT_EQ(place->InPlaceDeactivate(), S_OK);
            EXPECT_EQ(host->page(), nullptr);
            host->DestroyFrame();
            EXPECT_EQ(host->Open(page.get()), S_OK);
        },
        [&] {  // taken back while it becomes active
            host->Close();
            host->on_activate = [&] {
                vek::RefPtr<IOleObject> object;
                page->QueryInterface(IID_IOleObject, object.put_void());
                object->SetClientSite(nullptr);
            };
            EXPECT_TRUE(FAILED(host->Open(page.get())));
        }};
    std::ptrdiff_t before = 0;
    for (int round = 0; round < 40; ++round) {
        page = Page<>(IID_IUnknown, round % 2 == 0);
        host = vek::MakeObject<PageHost>();
        ASSERT_EQ(host->Open(page.get()), S_OK);
        kEnds[round / 2 % std::size(kEnds)]();
        host->Close();
        page.reset();
        if (round == 9) before = DrawingObjects();
    }
    host.reset();
    EXPECT_EQ(vek::LiveObjectCount(), objects);
    EXPECT_LE(DrawingObjects(), before + 2);
    EXPECT_EQ(::FindWindowW(TOOLTIPS_CLASSW, nullptr), nullptr);
}

TEST_F(PageControlsTest, LetsTheKeyboardWork) {
    record_.checkIncomingOnly = true;
    const auto host = vek::MakeObject<PageHost>();
    const auto page = Page<IOleObject>(IID_IOleObject);
    ASSERT_EQ(host->Open(page.get()), S_OK);
    ::SetFocus(::GetDlgItem(host->frame(), IDOK));
    const auto press = [&](UINT message, WPARAM key) {
        ::PostMessageW(::GetFocus(), message, key, 0);
        int turns = 0;
        host->RunUntil([&] { return ++turns > 2; });
        return ::GetDlgCtrlID(::GetFocus());
    };
    std::vector<int> order;
    for (int i = 0; i < 6; ++i) order.push_back(press(WM_KEYDOWN, VK_TAB));
    EXPECT_EQ(order, (std::vector{1140, 1144, 1145, IDYES, IDOK, 1140})) << "1146 is disabled";
    press(WM_SYSCHAR, 'r');
    EXPECT_EQ(host->status_changes, 1);
    EXPECT_TRUE(::IsDlgButtonChecked(host->page(), 1145));
    press(WM_KEYDOWN, VK_ESCAPE);
    EXPECT_EQ(host->cancelled, 1);

    // A host that leads the keys through the page itself.
    vek::RefPtr<IOleInPlaceActiveObject> active;
    page->QueryInterface(IID_IOleInPlaceActiveObject, active.put_void());
    ::SetFocus(host->Control(1145));
    MSG message{host->Control(1145), WM_KEYDOWN, VK_TAB, 0, 0, {}};
    EXPECT_EQ(active->TranslateAccelerator(&message), S_OK);
    EXPECT_EQ(::GetDlgCtrlID(::GetFocus()), IDYES) << "out of the page";
    EXPECT_EQ(active->TranslateAccelerator(&message), S_FALSE) << "nothing of its own";

    // What is taken away does not keep the focus.
    ::SetFocus(host->Control(1144));
    record_.isPluginEnabled = false;
    EXPECT_TRUE(host->RunUntil(
        [&] { return ::GetDlgCtrlID(::GetFocus()) >= 0 && ::GetFocus() != host->Control(1144); }));
    host->Close();
}

TEST_F(PageControlsTest, GivesTextsRoomAtEveryResolution) {
    std::string hint;
    for (int i = 0; i < 40; ++i) hint += "many words ";
    Offer(hint);
    const auto host = vek::MakeObject<PageHost>();
    const auto page = Page();
    ASSERT_EQ(host->Open(page.get()), S_OK);
    com::DialogLayout layout(host->page());
    const auto place = [&](int id) {
        RECT rectangle{};
        ::GetWindowRect(host->Control(id), &rectangle);
        ::MapWindowPoints(nullptr, host->page(), reinterpret_cast<POINT*>(&rectangle), 2);
        return rectangle;
    };
    LONG widths[3]{};
    int at = 0;
    for (const UINT resolution : {96u, 144u, 192u}) {
        layout.Scale(resolution);
        widths[at++] = place(1143).right - place(1143).left;
        EXPECT_GE(place(1140).top, place(1148).bottom);
        EXPECT_GE(place(1146).top, place(1145).bottom);
        EXPECT_LE(place(1146).bottom, place(1143).bottom);
        EXPECT_GT(place(1148).bottom - place(1148).top, widths[at - 1] / 15) << "some lines";
    }
    EXPECT_NEAR(static_cast<double>(widths[1]) / widths[0], 1.5, 0.15);
    EXPECT_NEAR(static_cast<double>(widths[2]) / widths[0], 2, 0.2);
    host->Close();
}

TEST_F(PageControlsTest, TheOtherPageHasATipAboveItsPicture) {
    const auto host = vek::MakeObject<PageHost>();
    const auto page = Page<>(IID_IUnknown, false);
    ASSERT_EQ(host->Open(page.get()), S_OK);
    EXPECT_NE(::SendMessageW(host->Control(115), STM_GETIMAGE, IMAGE_BITMAP, 0), 0);
    const HWND tip = ::FindWindowW(TOOLTIPS_CLASSW, nullptr);
    ASSERT_NE(tip, nullptr);
    wchar_t text[100]{};
    TTTOOLINFOW tool{};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;
    tool.hwnd = host->page();
    tool.lpszText = text;
    ::SendMessageW(tip, TTM_GETTEXTW, 0, reinterpret_cast<LPARAM>(&tool));
    EXPECT_EQ(std::wstring(text), L"To protect email enable your security application.");
    EXPECT_TRUE(::SendMessageW(tip, TTM_GETTOOLINFOW, 0, reinterpret_cast<LPARAM>(&tool)));
    EXPECT_GT(tool.rect.left, 50);
    host->Close();
    EXPECT_FALSE(::IsWindow(tip));
}

TEST_F(PageControlsTest, StandInAnotherMakersHost) {
    const HMODULE library = ::LoadLibraryW(L"atl100.dll");
    ASSERT_NE(library, nullptr);
    FunctionOf<BOOL(WINAPI*)()>(library, "AtlAxWinInit")();
    const auto attach =
        FunctionOf<HRESULT(WINAPI*)(IUnknown*, HWND, IUnknown**)>(library, "AtlAxAttachControl");
    for (const bool antivirus : {true, false}) {
        const auto page = Page<IOleWindow>(IID_IOleInPlaceObject, antivirus);
        const HWND window = ::CreateWindowExW(0, L"AtlAxWin100", L"", WS_POPUP | WS_VISIBLE, 0, 0,
                                              500, 400, nullptr, nullptr, nullptr, nullptr);
        ASSERT_NE(window, nullptr);
        vek::RefPtr<IUnknown> container;
        EXPECT_EQ(attach(page.get(), window, container.put()), S_OK);
        HWND dialog = nullptr;
        EXPECT_EQ(page->GetWindow(&dialog), S_OK);
        EXPECT_TRUE(::IsWindowVisible(::GetDlgItem(dialog, antivirus ? 1147 : 115)));
        ::DestroyWindow(window);
    }
}

// The page of the module itself, and a product that stops with all its threads when it is asked for
// its settings.
TEST(PageOfTheModule, IsHeldUpBySilenceOnceAndThenSaysOff) {
    ASSERT_TRUE(SUCCEEDED(::OleInitialize(nullptr)));
    const tests::ScratchRegistry registry;
    tests::ProductFolder product("");
    const std::wstring library(product.library().begin(), product.library().end());
    tests::ScratchRegistry::Set(L"SOFTWARE\\QZ\\Mail Plugin", L"ProductInfo", library);
    ASSERT_TRUE(product.Start({"--stopped-at", "settings"}));

    const auto path = sandbox::ProgramFolder().parent_path() / "module/mlxo.dll";
    const HMODULE module = ::LoadLibraryW(path.c_str());
    {
        vek::RefPtr<IClassFactory> factory;
        vek::RefPtr<IProvideClassInfo> page;
        vek::RefPtr<ITypeInfo> type;
        const auto get = FunctionOf<LPFNGETCLASSOBJECT>(module, "DllGetClassObject");
        ASSERT_EQ(get(kPageAntivirusClass, IID_IClassFactory, factory.put_void()), S_OK);
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IProvideClassInfo, page.put_void()), S_OK);
        EXPECT_EQ(page->GetClassInfo(type.put()), S_OK);

        const auto host = vek::MakeObject<PageHost>();
        auto last = std::chrono::steady_clock::now();
        const auto since_last = [&] {
            const auto now = std::chrono::steady_clock::now();
            return std::chrono::duration<double>(now - std::exchange(last, now)).count();
        };
        ASSERT_EQ(host->Open(page.get()), S_OK);
        const double opening = since_last();
        EXPECT_GT(opening, 2.5) << "it did stop";
        EXPECT_LT(opening, 4.5);
        double longest = 0;
        host->RunUntil([&] { return longest = std::max(longest, since_last()), false; },
                       std::chrono::seconds(3));
        EXPECT_LT(longest, 0.5);
        EXPECT_EQ(Text(host->Control(1142)), L"AntiVirusMailProtectionDisabled");
        EXPECT_FALSE(::IsWindowVisible(host->Control(1143)));
        host->Close();
    }
    product.Kill();
    const auto may_unload = FunctionOf<LPFNCANUNLOADNOW>(module, "DllCanUnloadNow");
    EXPECT_TRUE(tests::ProductFolder::Soon([&] { return may_unload() == S_OK; }));
    ::FreeLibrary(module);
    ::OleUninitialize();
}

}  // namespace
}  // namespace plugins::mail_processing
