#include "options/antivirus_page.h"

#include <gtest/gtest.h>

#include <map>
#include <new>
#include <set>

#include "product/in_process_product.h"
#include "sandbox/registry/memory_registry.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fake_settings.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/text.h"

namespace plugins::mail_processing {
namespace {

namespace result = vek::result;
using product::MailSettings;
using Record = product::MailPluginSettings;
using enum PageControl;
constexpr MailSettings kAllOn{1, 7, 0xFFFFFFFF}, kNoneOn{}, kSendOn{0, 0, 1}, kReadOn{0, 1, 0};
constexpr PageControl kBoxes[] = {kOnDelivery, kOnRead, kOnSend};

// The texts are "<key>"; a resource's path is what was asked for.
struct FakeTexts final : vek::ObjectImpl<product::ILocalization> {
    vek::result_t GetText(std::uint32_t kind, std::string_view key,
                          std::string& text) noexcept override {
        text = key == empty ? "" : "<" + std::string(key) + ">";
        return Answer(kind);
    }
    vek::result_t ResolveResource(std::uint32_t kind, std::string_view relative,
                                  std::string& path) noexcept override {
        path = relative;
        return relative == unresolved ? result::kNotFound : Answer(kind);
    }
    vek::result_t IsRightToLeft(bool& right_to_left) noexcept override {
        right_to_left = true;
        return is_right_to_left ? Answer(1) : result::kNotFound;
    }
    vek::result_t Answer(std::uint32_t kind) {
        unlimited += vek::remoting::CallScope::Current() == nullptr;
        return kind == 1 ? code : result::kInvalidArgument;
    }
    vek::result_t code = result::kOk;
    std::string empty, unresolved;
    bool is_right_to_left = false;
    int unlimited = 0;
};

struct FakeWindow final : vek::ObjectImpl<product::ISettingsWindow> {
    vek::result_t Open(std::uint32_t process) noexcept override {
        opened += process == vek::platform::CurrentProcessId() &&
                  vek::remoting::CallScope::Current() != nullptr;
        return code;
    }
    vek::result_t code = result::kOk;
    int opened = 0;
};

class FakeView final : public PageView {
public:
    void Show(PageControl control, bool shown) override {
        if (fails) throw std::bad_alloc();
        shown ? hidden.erase(control) : hidden.insert(control).second;
    }
    void Enable(PageControl control, bool enabled) override {
        enabled ? disabled.erase(control) : disabled.insert(control).second;
    }
    void SetText(PageControl control, std::u16string_view text) override {
        texts[control] = vek::ToUtf8(text);
    }
    void Check(PageControl box, bool on) override { checked[box] = on; }
    bool IsChecked(PageControl box) override { return checked[box]; }
    void LoadIconFile(PageIcon icon, const std::string& path) override { icons[icon] = path; }
    void ShowIcon(PageIcon icon) override { shown_icon = icons[icon]; }
    void MirrorRightToLeft(PageControl control) override { mirrored.insert(control); }
    void Arrange() override { ++arranged; }
    void StartTimer(std::chrono::milliseconds time) override { timer = time; }
    void MarkDirty() override { ++dirty; }

    // A letter for each box, a capital for a checked one, "!" behind those that are disabled; "b"
    // for the button; brackets around what is hidden.
    std::string State() {
        std::string state;
        for (const PageControl box : kBoxes) {
            const char letter = "drs"[static_cast<int>(box) - MLXO_ON_DELIVERY];
            state += static_cast<char>(checked[box] ? letter - 'a' + 'A' : letter);
            if (disabled.contains(box)) state += '!';
        }
        state += disabled.contains(kSettingsButton) ? "b!" : "b";
        if (hidden == std::set{kSettingsButton, kSettingsGroup, kOnDelivery, kOnRead, kOnSend})
            return "[" + state + "]";
        return hidden.empty() ? state : "partly hidden";
    }

    bool fails = false;
    std::set<PageControl> hidden, disabled, mirrored;
    std::map<PageControl, std::string> texts;
    std::map<PageControl, bool> checked;
    std::map<PageIcon, std::string> icons;
    std::string shown_icon;
    std::chrono::milliseconds timer{};
    int dirty = 0;
    std::size_t arranged = 0;
};

constexpr char16_t kEnvironment[] = u"SOFTWARE\\QZ\\Mail Plugin\\environment";

class AntivirusPageTest : public ::testing::Test {
protected:
    AntivirusPageTest() {
        product_->Offer(product::ILocalization::kInterfaceId, texts_);
        product_->Offer(product::IProductSettings::kInterfaceId, settings_);
        product_->Offer(product::ISettingsWindow::kInterfaceId, window_);
        registry_.Set(kEnvironment, u"ProductName", u"A & B");
    }
    ~AntivirusPageTest() override { EXPECT_EQ(texts_->unlimited + settings_->unlimited, 0); }

    // Each begins a second after the last; what a page shows afterwards.
    std::string Open() {
        view_ = {};
        clock_.ticks += 1000;
        page_.emplace(view_, environment_);
        page_->Initialise();
        return view_.State();
    }
    std::string Refresh() {
        clock_.ticks += 1000;
        page_->Refresh();
        return view_.State();
    }
    // What was stored: as State has it, or "-".
    std::string Apply() {
        settings_->kept = {9, 9, 9};
        page_->Apply();
        const auto& [d, r, s] = settings_->kept;
        return d == 9 ? "-" : std::string() + (d ? 'D' : 'd') + (r ? 'R' : 'r') + (s ? 'S' : 's');
    }

    Record record_{true, false, {}, kReadOn};
    vek::result_t answer_ = result::kOk;
    vek::RefPtr<tests::FakeSettings> settings_ = vek::MakeObject<tests::FakeSettings>(
        [this](Record& record) { return record = record_, answer_; });
    vek::RefPtr<FakeTexts> texts_ = vek::MakeObject<FakeTexts>();
    vek::RefPtr<FakeWindow> window_ = vek::MakeObject<FakeWindow>();
    vek::RefPtr<reference_product::InProcessProduct> product_ =
        vek::MakeObject<reference_product::InProcessProduct>(nullptr);
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        loader = product_;
        return result::kOk;
    }};
    tests::FakeClock clock_;
    sandbox::MemoryRegistry registry_;
    SettingsMemory memory_;
    std::shared_ptr<tests::RecordingTracer> tracer_ = std::make_shared<tests::RecordingTracer>();
    PageEnvironment environment_{services_, memory_, clock_, registry_, tracer_, {}};
    FakeView view_;
    std::optional<AntivirusPage> page_;
};

TEST_F(AntivirusPageTest, ShowsSettingsFollowsThemAndStoresWhatIsChecked) {
    const Record on{true, false, {}, kReadOn}, incoming{true, true, {}, kAllOn};
    const Record policy{true, false, kSendOn, kReadOn}, off{false, false, {}, kReadOn};
    const Record policy_off{false, true, kSendOn, kReadOn}, incoming_off{false, true, {}, kAllOn};
    const Record on_all{true, false, {}, kAllOn}, incoming_none{true, true, {}, kNoneOn};
    const Record strict{true, true, kAllOn, kNoneOn};
    const struct {
        std::string name;
        Record opened;
        std::string shows;
        std::vector<Record> then;
        std::string shows_then;
        std::string stores;
    } kCases[] = {
        {"on", on, "dRsb", {on}, "dRsb", "dRs"},
        {"off", off, "[dRsb]", {on}, "dRsb", "dRs"},
        {"switched off", on, "dRsb", {off}, "[dRsb]", "dRs"},
        {"a policy", policy, "d!r!S!b", {policy}, "d!r!S!b", "-"},
        {"a policy of incoming only", strict, "D!R!S!b", {strict}, "D!R!S!b", "-"},
        {"a policy comes", on, "dRsb", {policy}, "dRsb", "-"},
        {"a policy comes and is shown", on, "dRsb", {policy_off}, "[d!r!S!b]", "-"},
        {"a policy goes unseen", policy, "d!r!S!b", {on}, "d!r!S!b", "-"},
        {"a policy goes and it is shown", policy, "d!r!S!b", {off}, "[drSb]", "drS"},
        {"incoming only", incoming, "DRs!b", {incoming}, "DRs!b", "DRS"},
        {"incoming only, off", incoming_off, "[DRs!b]", {on_all}, "DRsb", "DRs"},
        {"incoming only goes unseen", incoming, "DRs!b", {on_all}, "DRs!b", "DRS"},
        {"incoming only comes unseen", on_all, "DRSb", {incoming_none}, "DRSb", "DRs"},
        {"switches change unseen", on, "dRsb", {on_all}, "dRsb", "dRs"},
        {"boxes keep what they show", on, "dRsb", {off, on_all}, "dRsb", "dRs"},
    };
    for (const auto& row : kCases) {
        SCOPED_TRACE(row.name);
        record_ = row.opened;
        EXPECT_EQ(Open(), row.shows);
        EXPECT_EQ(view_.timer.count(), 1000);
        const std::size_t updates = tracer_->Count("700 Update settings window");
        view_.arranged = 0;
        for (const Record& next : row.then) record_ = next, Refresh();
        EXPECT_EQ(view_.State(), row.shows_then);
        EXPECT_EQ(tracer_->Count("700 Update settings window"), updates + view_.arranged);
        EXPECT_EQ(Apply(), row.stores);
        const bool on_now = row.shows_then[0] != '[';
        EXPECT_EQ(view_.shown_icon, on_now ? "mail\\main1.ico" : "mail\\disabled_main1.ico");
        std::string texts;
        for (const auto& [control, text] : view_.texts) texts += text;
        EXPECT_EQ(texts, std::string("<AntiVirusSettingsButton><AntiVirusMailProtection") +
                             (on_now ? "Enabled>" : "Disabled>") +
                             "<AntiVirusSettings><AntiVirusSettingsUponReceiving>"
                             "<AntiVirusSettingsWhenRead><AntiVirusSettingsUponSending>"
                             "<AntiVirusTitle>" +
                             (on_now ? "<AntiVirusDisableOrConfigure>" : "<AntiVirusRun> A & B"));
    }
    EXPECT_EQ(tracer_->Count("700 Not need update user settings on apply under policy"), 5u);
}

TEST_F(AntivirusPageTest, ServicesMayBeMissingOrFailAtEachStep) {
    product_->FailLoader(result::kNotFound);
    EXPECT_EQ(Open(), "drsb");
    EXPECT_TRUE(view_.texts.empty() && view_.timer.count() == 0) << "as the template has it";
    EXPECT_EQ(Refresh(), "drsb");
    EXPECT_EQ(Apply(), "-");
    EXPECT_TRUE(page_->OnClicked(kOnRead) && page_->OnClicked(kSettingsButton));
    EXPECT_EQ(view_.dirty, 1);

    product_->FailLoader(result::kOk);
    texts_->is_right_to_left = true;
    texts_->unresolved = "mail\\main1.ico";
    texts_->empty = "AntiVirusSettings";
    product_->Offer(product::ISettingsWindow::kInterfaceId, nullptr);
    EXPECT_EQ(Open(), "dRsb!");
    EXPECT_EQ(view_.shown_icon + view_.texts.at(kSettingsGroup), "");
    EXPECT_EQ(view_.mirrored,
              (std::set{kSettingsButton, kSettingsGroup, kOnDelivery, kOnRead, kOnSend, kTitle}));

    // The window comes, and the texts and the name go.
    product_->Offer(product::ISettingsWindow::kInterfaceId, window_);
    EXPECT_EQ(Refresh(), "dRsb!");
    answer_ = texts_->code = result::kNotFound;
    registry_.DeleteTree(kEnvironment);
    EXPECT_EQ(Refresh(), "[dRsb]");
    EXPECT_EQ(view_.texts.at(kHint), "AntiVirusRun ");
    EXPECT_EQ(view_.texts.at(kSettingsGroup), "AntiVirusSettings");
    texts_->is_right_to_left = false;
    Open();
    EXPECT_TRUE(view_.mirrored.empty() && view_.shown_icon.empty());

    // What raises or fails ends here.
    answer_ = result::kOk;
    view_.fails = true;
    Refresh();
    window_->code = result::kNotFound;
    EXPECT_TRUE(page_->OnClicked(kSettingsButton));
    EXPECT_EQ(window_->opened, 1);
    EXPECT_EQ(view_.dirty, 0);
    settings_->keep = result::kNotFound;
    Apply();
    EXPECT_EQ(tracer_->Count("300 "), 7u);
    EXPECT_FALSE(page_->OnClicked(kTitle));
}

TEST_F(AntivirusPageTest, NothingIsStoredThatNobodySet) {
    answer_ = result::kNotFound;
    EXPECT_EQ(Open(), "[drsb]");
    EXPECT_EQ(Refresh(), "[drsb]");
    EXPECT_EQ(Apply(), "-");
    answer_ = result::kOk;
    EXPECT_EQ(Refresh(), "dRsb") << "the first settings there are";
    EXPECT_EQ(Apply(), "dRs");

    // The next page begins with the last that any had; a policy may be over by then.
    record_ = {true, true, kSendOn, kAllOn};
    Refresh();
    answer_ = result::kNotFound;
    EXPECT_EQ(Open(), "[DRs!b]");
    EXPECT_EQ(Apply(), "DRS");
    answer_ = result::kOk;
    clock_.ticks += 500;
    page_->Refresh();
    EXPECT_EQ(view_.State(), "[DRs!b]") << "nobody has been asked again";
    page_->RefreshAtOnce();
    EXPECT_EQ(view_.State(), "d!r!S!b");
}

}  // namespace
}  // namespace plugins::mail_processing
