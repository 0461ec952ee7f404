#include "sandbox/outlook/host/host_player.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "product/state/text_file.h"
#include "sandbox/child_process/child_process.h"
#include "sandbox/outlook/host/addin_key.h"
#include "sandbox/outlook/message_file.h"
#include "sandbox/outlook/page_host/page_host.h"
#include "vek/core/text.h"

namespace sandbox::host {
namespace {

using reference_product::PathText;
using Clock = std::chrono::steady_clock;

std::string Utf8(const std::wstring& text) {
    return vek::ToUtf8(std::u16string(text.begin(), text.end()));
}

std::chrono::microseconds Since(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
}

// Clicks the first check box of a page that can be clicked, if there is one.
void ClickFirstBox(HWND page) {
    for (HWND each = ::GetWindow(page, GW_CHILD); each != nullptr;
         each = ::GetWindow(each, GW_HWNDNEXT)) {
        wchar_t name[16] = L"";
        ::GetClassNameW(each, name, 16);
        const LONG_PTR kind = ::GetWindowLongPtrW(each, GWL_STYLE) & BS_TYPEMASK;
        if (::lstrcmpiW(name, L"Button") != 0 || !::IsWindowEnabled(each) ||
            (kind != BS_AUTOCHECKBOX && kind != BS_CHECKBOX))
            continue;
        ::SendMessageW(each, BM_CLICK, 0, 0);
        return;
    }
}

// Where the page's help is, which nobody looks up here.
HRESULT AskForHelp(IPropertyPage& page) {
    BSTR file = nullptr;
    LONG context = 0;
    const HRESULT code = page.GetPageInfo(&file, &context);
    ::SysFreeString(file);
    return code;
}

// As the buttons Apply and OK do.
HRESULT ApplyChanges(IPropertyPage& page) {
    VARIANT_BOOL dirty = VARIANT_FALSE;
    const HRESULT code = page.get_Dirty(&dirty);
    return SUCCEEDED(code) && dirty != VARIANT_FALSE ? page.Apply() : code;
}

const outlook::StoreTraits& Store(const std::string& name) {
    const auto* const store = outlook::FindStore(name);
    if (store == nullptr) throw std::runtime_error("there is no store " + name);
    return *store;
}

}  // namespace

// Has the reports of a process read before the next one begins its own.
class HostPlayer::WatchedProduct final : public demo::ScenarioProduct {
public:
    WatchedProduct(const HostOptions& options, OutsideRows& rows)
        : rows_(rows),
          process_(demo::MakeProductProcess(
              {options.product, options.rules, options.product_arguments,
               [](auto time) { ServeMessages(time); }, options.each_product_arguments})) {}

    void Start() override {
        rows_.Collect();
        process_->Start();
        if (!std::exchange(runs_, true)) rows_.OnProductStarted();
    }
    void Stop() override {
        process_->Stop();
        runs_ = false;
        rows_.OnProductEnded();
    }
    void Kill() override {
        process_->Kill();
        runs_ = false;
        rows_.OnProductEnded();
    }
    void Set(const plugins::product::MailPluginSettings& settings) override {
        process_->Set(settings);
    }

private:
    OutsideRows& rows_;
    const std::unique_ptr<demo::ScenarioProduct> process_;
    bool runs_ = false;
};

HostPlayer::HostPlayer(HostOptions options)
    : EventPlayer(options.messages, Store(options.store), options.version,
                  outlook::ThreadChoice::kBuilders),
      options_(std::move(options)),
      rows_(options_.product / "reports.jsonl", times_),
      product_(std::make_unique<WatchedProduct>(options_, rows_)),
      items_(std::make_shared<ItemObjects>(host())),
      application_(ApplicationObject::Make(items_)) {
    mapi().Watch([this](const std::string& entry_id) { rows_.OnOpened(entry_id); });
    if (options_.starts_product) StartProduct();
}

HostPlayer::~HostPlayer() { DisconnectAddin(); }

demo::ScenarioProduct& HostPlayer::product() { return *product_; }

HRESULT HostPlayer::ConnectAddin() {
    // After an end that was not the process's.
    if (!addins_.empty()) LetAddinsGo();
    if (has_quit_ && options_.ending == Ending::kUnticked) TickAgain();
    const auto start = Clock::now();
    const std::vector<std::wstring> registered = RegisteredAddins();
    if (registered.empty()) throw std::runtime_error("no add-in is registered");
    for (const std::wstring& prog_id : registered) {
        constexpr std::uint32_t kWanted = load_behavior::kAtStartup | load_behavior::kLoaded;
        if (LoadBehavior(prog_id) != kWanted) {
            Complain(Utf8(prog_id) + " is not loaded");
            continue;
        }
        auto addin = std::make_unique<Addin>(prog_id);
        host().LoadExtension([&] { return addin->MakeExtension(); });
        if (const HRESULT code = addin->Connect(*application_, ConnectMode::kStartup);
            FAILED(code)) {
            char text[32];
            std::snprintf(text, sizeof text, " does not connect: 0x%08X",
                          static_cast<unsigned>(code));
            Complain(Utf8(prog_id) + text);  // its extension is no part of that
        }
        addins_.push_back(std::move(addin));
    }
    resiliency_.Note(Occasion::kStartup, Since(start));
    connected_ = true;
    for (const auto& addin : addins_) addin->TellStartupComplete();
    application_->Raise(event::kStartup);
    application_->Raise(event::kMapiLogonComplete);
    return S_OK;
}

void HostPlayer::DisconnectAddin() {
    if (!std::exchange(connected_, false)) return;
    has_quit_ = true;
    // Its windows are closed before.
    while (!host().application().open_items().empty()) {
        const auto item = host().application().open_items().back();
        host().Close(item->entry_id());
    }
    for (const std::string& held : items_->Held())
        Complain("somebody holds the item " + held + " at the end");
    if (options_.ending != Ending::kExit) LetAddinsGo();  // else the process will end
}

void HostPlayer::LetAddinsGo() {
    const bool unticked = options_.ending == Ending::kUnticked;
    const auto start = Clock::now();
    for (const auto& addin : addins_) {
        if (unticked)
            SetLoadBehavior(addin->prog_id(), load_behavior::kAtStartup);
        else
            addin->TellBeginShutdown();
    }
    for (const auto& addin : addins_)
        addin->Disconnect(unticked ? DisconnectMode::kUserClosed : DisconnectMode::kHostShutdown);
    resiliency_.Note(Occasion::kShutdown, Since(start));
    if (application_->AddRef(); application_->Release() != 1)
        Complain("somebody holds the application at the end");
    host().UnloadExtension();
    for (const auto& addin : addins_) addin->FreeExtensions();
    items_->Sweep();
    for (const auto& addin : addins_)
        if (!UnloadLibraries(LibraryOf(addin->prog_id())))
            Complain("the library of " + Utf8(addin->prog_id()) + " stays loaded");
    addins_.clear();
}

void HostPlayer::ShowOptions() {
    for (const auto& [prog_id, caption] : host().OpenOptions()) {
        const std::wstring name(prog_id.begin(), prog_id.end());
        CLSID id;
        vek::RefPtr<IUnknown> page;
        HRESULT code = ::CLSIDFromProgID(name.c_str(), &id);
        if (SUCCEEDED(code))
            code = ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                      page.put_void());
        const auto dialog = vek::MakeObject<outlook::PageHost>();
        vek::RefPtr<IPropertyPage> own;
        if (SUCCEEDED(code)) code = page->QueryInterface(iid::kPropertyPage, own.put_void());
        if (SUCCEEDED(code)) code = dialog->Open(page.get());
        if (SUCCEEDED(code)) code = AskForHelp(*own);
        page.reset();
        if (FAILED(code)) {
            Complain("the page \"" + vek::ToUtf8(caption) + "\" cannot be shown");
            continue;
        }
        // The user changes his mind twice, and presses Apply and OK.
        for (int press = 0; press != 2; ++press) {
            ServeMessages({});
            ClickFirstBox(dialog->page());
            code = ApplyChanges(*own);
            if (FAILED(code)) Complain("the page \"" + vek::ToUtf8(caption) + "\" cannot apply");
        }
        own.reset();
        dialog->Close();
        if (dialog->wrong_calls != 0 || !dialog->IsLeft())
            Complain("the page \"" + vek::ToUtf8(caption) + "\" has made a wrong call, or stays");
    }
}

void HostPlayer::OnEventEnd(const std::string& event, std::chrono::microseconds held) {
    items_->Sweep();
    if (event.starts_with("open ")) resiliency_.Note(Occasion::kItemOpen, held);
    ServeMessages({});
}

void HostPlayer::FindDamage(std::vector<Inspected>& messages) {
    const std::filesystem::path folder = options_.out / "after";
    std::filesystem::create_directories(folder);
    auto list = nlohmann::json::array();
    for (std::size_t i = 0; i != messages.size(); ++i) {
        const auto& [message, now, damage] = messages[i];
        if (!now) continue;
        const std::filesystem::path file = folder / (std::to_string(i) + ".json");
        outlook::SaveMessageFile(file, SubmitTimes::Unmarked(*now, shelf().Find(message.mail)));
        list.push_back({{"message", i},
                        {"mail", message.mail},
                        {"file", PathText(file)},
                        {"checks", message.checks}});
    }
    const std::filesystem::path asked = folder / "asked.list";
    reference_product::ReplaceTextFile(asked, list.dump(1));
    const auto judge = StartProgram(
        ProgramFolder() / "mlxo_scenario",
        {"--damage", PathText(asked), "--messages", PathText(options_.messages), "--out",
         PathText(folder / "answered.list"), "--rules", PathText(options_.rules), "--product",
         PathText(options_.product), "--store", options_.store});
    if (judge->Wait() != 0) throw std::runtime_error("the messages cannot be looked at");
    const auto answer = nlohmann::json::parse(
        reference_product::ReadTextFile(folder / "answered.list").value_or(""));
    for (const auto& each : answer)
        messages[each.at("message").get<std::size_t>()].damage =
            each.at("damage").get<std::vector<std::string>>();
}

bool HostPlayer::PrintAddins(std::ostream& out) {
    resiliency_.Print(out);
    bool good = true;
    for (const std::wstring& prog_id : RegisteredAddins()) {
        const auto behavior = LoadBehavior(prog_id);
        const bool stays = behavior == (options_.ending == Ending::kUnticked ? 2u : 3u);
        out << "LoadBehavior of " << Utf8(prog_id) << ": "
            << (behavior ? std::to_string(*behavior) : "none") << '\n';
        good &= stays;
    }
    if (options_.ending == Ending::kUnticked) TickAgain();
    return good;
}

void HostPlayer::TickAgain() {
    for (const std::wstring& prog_id : RegisteredAddins()) ForgetUsersLoadBehavior(prog_id);
}

}  // namespace sandbox::host
