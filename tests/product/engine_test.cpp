// What the scanner finds in messages and does to them, through the plug-in's own mail objects.

#include "product/scanner_engine.h"

#include <gmock/gmock.h>

#include <regex>

#include "processing/message_processor.h"
#include "product/action_runner.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/mail_fixture.h"
#include "tests/support/temporary_folder.h"

namespace reference_product {
namespace {

using sandbox::outlook::Call;
using sandbox::outlook::PropertyValue;
using sandbox::outlook::StorageNode;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
namespace mail = plugins::mail_processing;
namespace result = vek::result;
namespace tag = plugins::mapi::tag;

// Finds the "virus:Name" in a content, and does not answer about one with "hush".
class FakeEngine final : public ContentEngine {
public:
    std::unique_ptr<MailContents> BeginMail() override { return std::make_unique<Mail>(*this); }
    EngineState State() const override {
        return {.name = {}, .signatures = {}, .trouble = {}, .version = version};
    }

    std::uint64_t version = 1;
    std::vector<std::size_t> ended;  // the sizes of contents
    int under_way = 0;
    int most_under_way = 0;

private:
    struct Check final : ContentCheck {
        explicit Check(FakeEngine& of) : engine(of) {
            engine.most_under_way = std::max(engine.most_under_way, ++engine.under_way);
        }
        ~Check() override { --engine.under_way; }
        bool Feed(std::span<const std::byte> piece) override {
            EXPECT_LT(content.size(), 100'000u) << "wants no more";
            content.append(reinterpret_cast<const char*>(piece.data()), piece.size());
            return content.size() < 100'000;
        }
        void Finish() override { engine.ended.push_back(content.size()); }
        ContentVerdict Verdict() override {
            using enum ContentVerdict::Kind;
            if (content.find("hush") != content.npos) return {kNotChecked, "no\nanswer"};
            std::smatch match;
            const bool found = std::regex_search(content, match, std::regex("virus:([A-Z]+)"));
            return found ? ContentVerdict{kFound, match[1]} : ContentVerdict{kClean, {}};
        }
        FakeEngine& engine;
        std::string content;
    };
    struct Mail final : MailContents {
        explicit Mail(FakeEngine& of) : engine(of) {}
        std::unique_ptr<ContentCheck> Begin() override { return std::make_unique<Check>(engine); }
        FakeEngine& engine;
    };
};

class ScannerEngineTest : public tests::MailFixture {
protected:
    ScannerEngineTest() {
        Set(tag::kBodyHtmlA, "<p>");
        Set(tag::kTransportMessageHeadersA,
            "Content-Type: text/plain\r\nX-Long: one\r\n two\r\n\r\n");
    }

    ScanReport Check(std::string_view rules = {}, bool incoming = true) {
        ParsedRules parsed = ParseRules(rules, "f");
        EXPECT_THAT(parsed.errors, IsEmpty()) << ToText(parsed.errors.front());
        ScanReport report;
        const auto product = vek::MakeObject<InProcessProduct>(vek::MakeObject<MailScanner>(
            std::make_shared<ScannerEngine>(
                std::move(parsed.rules), [this](auto&) { return engine_; }, limits_of_contents_),
            [&](const ScanReport& made) { report = made; }, memory_));
        plugins::loader::ServiceAccess services{[&](vek::RefPtr<plugins::ILoader>& loader) {
            loader = product;
            return result::kOk;
        }};
        mail::MessageProcessor::Create(nullptr, functions_, nullptr,
                                       {vek::platform::TheSystem(), clock_, services, tracer_})
            ->ProcessMessage(mapi_.OpenMessage(entry_id_).get(), incoming, false);
        return report;
    }
    void SetRtf(std::string_view text) {
        const auto rich = sandbox::outlook::CompressRtf(text);
        const std::string bytes(reinterpret_cast<const char*>(rich.data()), rich.size());
        Set(tag::kRtfCompressed, PropertyValue::Binary(bytes));
    }
    void Attach(const char* name, std::string content, const char* type = "text/plain",
                LONG method = ATTACH_BY_VALUE) {
        sandbox::outlook::PropertyBag data;
        data.Set(tag::kAttachMethod, PropertyValue::Long(method));
        data.Set(tag::kAttachDataBin, PropertyValue::Binary(std::move(content)));
        data.Set(tag::kDisplayNameA, PropertyValue::Text("Shown name"));
        data.Set(tag::kAttachFilenameA, PropertyValue::Text(name));
        data.Set(tag::kAttachMimeTagA, PropertyValue::Text(type));
        Edit([&](auto& record) { record.AddAttachment(std::move(data)); });
    }
    void AttachStorage(std::string content) {
        const auto storage = std::make_shared<sandbox::outlook::StorageNode>();
        const auto& stream = storage->inside[u"Data"] = std::make_shared<StorageNode>();
        stream->bytes = std::make_shared<const std::string>(std::move(content));
        Attach("a", "", "", ATTACH_OLE);
        Edit([&](auto& record) { record.attachments.back().storage = storage; });
    }
    // Has the contents that go kept in a folder, with limits that a test may change.
    void Keep() {
        memory_.kept.store = std::make_shared<KeptStore>(
            kept_, [this] { return limits_; }, [this](std::string_view) { ++logged_; }, clock_);
    }
    std::vector<std::uint32_t> Kept() {
        std::vector<std::uint32_t> ids;
        for (const KeptItem& item : ListKept(kept_)) ids.push_back(item.id);
        return ids;
    }

    const tests::TemporaryFolder folder_;
    const std::filesystem::path kept_ = folder_.path() / "kept";
    KeptLimits limits_{std::chrono::days(30), 1 << 20};
    int logged_ = 0;
    ScanMemory memory_{nullptr, {nullptr, "S-1-5-1"}};
    std::shared_ptr<FakeEngine> engine_;
    GatherLimits limits_of_contents_;

    std::vector<std::string> Attachments(ULONG property) {
        std::vector<std::string> texts;
        const auto record = mapi_.store().Find(entry_id_);
        for (const auto& each : record->attachments)
            texts.push_back(*each.properties.Find(property)->content());
        return texts;
    }
};

TEST_F(ScannerEngineTest, FindsTheTestStringInEveryContent) {
    const std::string eicar = EicarTestString();
    const std::regex special(R"([\\{}])");
    const std::string escaped = std::regex_replace(eicar, special, R"(\$&)");  // as RTF wants it
    std::vector<std::tuple<const char*, std::string, bool>> cases = {
        {"HTML body", "<p>" + eicar, true},
        {"RTF body", "{\\rtf1 " + escaped + "}", true},
        {"RTF body", eicar, true},
        {"plain body", eicar.substr(1), false}};
    for (const std::size_t before : {65536u - 68, 65536u - 67, 65536u - 1, 65536u, 131072u - 20})
        cases.emplace_back("plain body", std::string(before, 'X') + eicar + "t", true);
    for (const auto& [label, content, infected] : cases) {
        Set(tag::kSubjectW, "Hello");
        Set(tag::kBodyA, *label == 'p' ? content : "");
        Set(tag::kBodyHtmlA, *label == 'H' ? content : "");
        SetRtf(*label == 'R' ? content : "");
        const ScanReport report = Check();
        EXPECT_EQ(report.infected, infected) << label;
        EXPECT_EQ(report.bytes_read, content.size());
        EXPECT_EQ(Saved(tag::kSubjectW), infected ? "[INFECTED] Hello" : "Hello");
        const std::vector findings(infected, "EICAR test string in " + std::string(label));
        EXPECT_EQ(report.findings, findings);
    }
}

TEST_F(ScannerEngineTest, ReplacesInfectedAttachmentsOnce) {
    constexpr std::size_t kMessages = 200;
    for (std::size_t i = 0; i < kMessages; ++i)
        Attach("inner.msg", "", "message/rfc822", ATTACH_EMBEDDED_MSG);
    Attach("clean.txt", "clean");
    Attach("bad.com", EicarTestString() + std::string(500, ' '));
    limits_of_contents_.attachments = 2;  // as many as are offered
    const ScanReport first = Check();
    EXPECT_EQ(first.not_offered.size(), kMessages);
    EXPECT_EQ(first.not_offered[1], "attachment 2");
    EXPECT_THAT(ToText(first), testing::HasSubstr("not checked: 100 more"));
    const std::string notice = Fill(NoticeTexts().replaced, "bad.com", kEicarFind);
    EXPECT_THAT(first.changes,
                ElementsAre("subject \"[INFECTED] Hello\"", "attachment 202 \"bad.com\" replaced",
                            "notice \"" + notice + '"'));
    const auto contents = Attachments(tag::kAttachDataBin);
    EXPECT_EQ(contents[kMessages], "clean");
    EXPECT_EQ(contents.back(), Fill(NoticeTexts().replacement, kEicarFind));
    EXPECT_NE(Saved(tag::kBodyHtmlA).find(notice), std::string::npos);
    const ScanReport again = Check();
    EXPECT_FALSE(again.infected);
    EXPECT_THAT(again.changes, IsEmpty());
}

TEST_F(ScannerEngineTest, DecidesByConditions) {
    const std::pair<std::string, bool> cases[] = {
        {"outgoing any", false},
        {"sender is \"boss@example.com\"", true},
        {"not sender contains \"alice\"", true},
        {"subject is \"hell\"", false},
        {"subject matches \"h*O\"", true},
        {"header contains \"type: TEXT\" and subject is \"no\"", false},
        {"body contains \"WIRE transfer\"", true},
        {"attachment-contains \"wire\"", false},
        {"attachment-name matches \"*.zip\" and attachment-contains \"secret\"", false},
        {"attachment-name matches \"*.txt\" and attachment-contains \"secret\"", true},
        {"attachment-name is \"shown name\"", true},
        {"attachment-type is \"application/zip\"", true},
    };
    Set(tag::kBodyHtmlA, "a wire transfer");
    Set(tag::kSentRepresentingNameA, "Boss");
    Set(tag::kSentRepresentingAddrTypeA, "SMTP");
    Set(tag::kSentRepresentingEmailAddressA, "boss@example.com");
    Attach("a.zip", "", "application/zip");
    Attach("b.txt", "a secret");
    for (const auto& [condition, applies] : cases) {
        Check("when " + condition + " do set-property 0x3FFF001E \"y\"");
        EXPECT_EQ(Saved(0x3FFF001E), applies ? "y" : "(none)") << condition;
        Erase(0x3FFF001E);
    }
}

TEST_F(ScannerEngineTest, DoesWhatRulesSay) {
    constexpr std::string_view kRules = R"(
        when any do set-subject "[a] {subject}", set-property 0x3FFF001E "v"
        when any do set-subject "[b] {subject}!", set-header "X-A: 1", add-header "X-Long: one two"
        when any do add-header "X-New: 1", append-notice "Bewäre.", append-notice "Bewäre."
        when attachment-name matches "*.exe" do rename-attachment "never", delete-attachment
        when attachment-name contains "b.zip" do rename-attachment "{name}.blocked"
        when attachment-contains "secret" do replace-attachment "Removed by policy.")";
    Attach("a.exe", "secret");
    Attach("b.zip", "zip");
    Attach("c.txt", "a long secret of many words");
    const ScanReport report = Check(kRules);
    EXPECT_EQ(report.result, result::kOk);
    EXPECT_THAT(report.findings, testing::Contains("the rule in line 2 applies"));
    EXPECT_THAT(report.changes, testing::Contains("attachment 1 \"a.exe\" deleted"));
    EXPECT_EQ(Saved(0x3FFF001E), "v");
    // Notice and headers are there once.
    const std::string headers = Saved(tag::kTransportMessageHeadersA) + Saved(tag::kBodyHtmlA);
    for (const char* text : {"X-Long: ", "X-A: 1", "X-New: 1", "Bew&#228;re."}) {
        EXPECT_NE(headers.find(text), headers.npos) << headers;
        EXPECT_EQ(headers.find(text), headers.rfind(text)) << headers;
    }
    // Checked again, texts do not grow, and the mark stays in front of them.
    for (const char* subject : {"[b] [a] Hello!", "[INFECTED] [b] [a] Hello!"}) {
        EXPECT_EQ(Saved(tag::kSubjectW), subject);
        EXPECT_THAT(Attachments(tag::kAttachDataBin), ElementsAre("zip", "Removed by policy."));
        EXPECT_THAT(Attachments(tag::kAttachFilenameA), ElementsAre("b.zip.blocked", "c.txt"));
        Set(tag::kBodyA, EicarTestString());
        Check(kRules);
    }
}

TEST_F(ScannerEngineTest, RemembersWhatIsCleanForAWhile) {
    CleanLimits limits{2, std::chrono::hours(24)};
    memory_.clean = std::make_shared<CleanMemory>([&] { return limits; }, clock_);
    Attach("a.txt", std::string(100'000, 'a'));
    const ScanReport first = Check();
    EXPECT_FALSE(first.known_clean);
    const auto is_known = [&](std::string_view rules = {}, bool incoming = true) {
        const std::uint32_t reads = Calls(Call::kStreamRead);
        const ScanReport report = Check(rules, incoming);
        EXPECT_EQ(report.known_clean, Calls(Call::kStreamRead) == reads);
        EXPECT_EQ(report.summary, first.summary);
        return report.known_clean;
    };
    const std::string own = entry_id_, user = memory_.kept.account;
    const std::string others[] = {mapi_.store().Add(*mapi_.store().Find(own)),
                                  mapi_.store().Add(*mapi_.store().Find(own))};
    EXPECT_TRUE(is_known());
    EXPECT_FALSE(is_known({}, false)) << "sent";
    memory_.kept.account = "S-1-5-2";
    EXPECT_FALSE(is_known()) << "by another";
    memory_.kept.account = user;
    entry_id_ = others[0];
    EXPECT_FALSE(is_known());
    EXPECT_TRUE(is_known());
    entry_id_ = own;  // was asked for longest ago
    EXPECT_FALSE(is_known());
    entry_id_ = others[0];
    EXPECT_TRUE(is_known());
    EXPECT_FALSE(is_known("# other rules"));
    EXPECT_FALSE(is_known()) << "before new rules";
    clock_.utc += 24 * 36'000'000'000 - 1;
    EXPECT_TRUE(is_known());
    clock_.utc += 1;
    EXPECT_FALSE(is_known());
    clock_.utc -= 1;
    EXPECT_FALSE(is_known()) << "by a clock set back";
    limits.messages = 0;
    for (int time = 0; time < 2; ++time) EXPECT_FALSE(is_known());

    limits.messages = 10;
    engine_ = std::make_shared<FakeEngine>();
    EXPECT_FALSE(is_known()) << "without an engine";
    EXPECT_TRUE(is_known());
    for (const std::uint64_t version : {2u, 0u, 0u}) {
        engine_->version = version;
        EXPECT_FALSE(is_known()) << version;
    }
    engine_->version = 3;
    const std::tuple<const char*, const char*, std::function<void()>> not_clean[] = {
        {"not answered", "", [&] { Set(tag::kBodyA, "hush"); }},
        {"a rule applies", "when any do add-header \"X-Long: one two\"", [] {}},
        {"it cannot be read", "", [&] { mapi_.faults().FailNth(Call::kStreamRead, 1, E_FAIL); }},
        {"some is not offered", "",
         [&] { Attach("i", "", "message/rfc822", ATTACH_EMBEDDED_MSG); }},
        {"infected", "", [&] { Set(tag::kBodyA, EicarTestString()); }}};
    for (const auto& [why, rules, prepare] : not_clean) {
        SCOPED_TRACE(why);
        prepare();
        Check(rules);
        EXPECT_FALSE(Check(rules).known_clean);
        mapi_.faults().Clear();
    }
}

TEST_F(ScannerEngineTest, PassesEachContentThroughTheEngineOnce) {
    engine_ = std::make_shared<FakeEngine>();
    Set(tag::kBodyA, "virus:B");
    Attach("two", EicarTestString() + "virus:T");
    Attach("big", std::string(200'000, 'x') + "virus:N");  // beyond what the engine wants
    Attach("mute", "hush");
    Attach("none", "");
    AttachStorage("virus:O");
    for (int i = 0; i < 5; ++i) Attach("c", "clean");
    mapi_.faults().RunAtNth(Call::kOpenAttach, 1, [&] { EXPECT_EQ(engine_->under_way, 2); });
    const ScanReport report = Check();
    EXPECT_THAT(report.findings,
                ElementsAre("EICAR test string in attachment 1 \"two\"", "B in plain body",
                            "T in attachment 1 \"two\"", "O in attachment 5 \"a\""));
    EXPECT_THAT(report.not_checked, ElementsAre("attachment 3 \"mute\": no answer"));
    EXPECT_EQ(engine_->ended.size(), 11u) << "each that is not empty";
    EXPECT_EQ(engine_->ended[3], 131'072u);
    EXPECT_EQ(engine_->most_under_way, 4);
    EXPECT_EQ(engine_->under_way, 0);

    Set(tag::kBodyA, "virus:F" + std::string(200'000, 'x'));
    Set(tag::kBodyHtmlA, "<p>");
    engine_->ended.clear();
    limits_of_contents_ = {.attachments = 100, .failures_in_a_row = 2, .time = {}};
    EXPECT_THAT(Check().not_checked,
                ElementsAre("plain body: the message has taken too long",
                            "attachment 1 and all behind it: the message has taken too long"));
    limits_of_contents_ = {.attachments = 8, .failures_in_a_row = 2};
    mapi_.faults().FailNth(Call::kStreamRead, 3, E_FAIL);
    for (const std::uint32_t nth : {1u, 3u, 4u, 5u})
        mapi_.faults().FailNth(Call::kOpenAttach, nth, E_FAIL);
    const ScanReport broken = Check();
    EXPECT_THAT(broken.findings, ElementsAre("F in plain body"));
    EXPECT_THAT(
        broken.not_checked,
        ElementsAre("plain body: it cannot be read to its end", "attachment 1: it cannot be opened",
                    "attachment 3: it cannot be opened", "attachment 4: it cannot be opened",
                    "attachment 5 and all behind it: too many before it cannot be opened"));
    EXPECT_THAT(engine_->ended, ElementsAre(3, 131'072, 3, 131'072));
    mapi_.faults().Clear();
    EXPECT_EQ(Check().not_checked.back(), "attachment 9 and all behind it: there are too many");
    mapi_.faults().FailNth(Call::kGetAttachmentTable, 1, MAPI_E_NETWORK_ERROR);
    const ScanReport unlisted = Check();
    EXPECT_EQ(unlisted.failures.at(0).operation, "GetAttachments");
    EXPECT_EQ(unlisted.result, static_cast<vek::result_t>(MAPI_E_NETWORK_ERROR));
    EXPECT_EQ(unlisted.not_checked.back(), "all attachments: they cannot be listed");
}

TEST_F(ScannerEngineTest, TreatsFindsAndSaysWhatBecameOfThem) {
    const auto fail = [&](Call call) { mapi_.faults().FailNth(call, 1, E_FAIL); };
    const auto clear = [&] { Edit([](auto& record) { record.attachments.clear(); }); };
    const auto infect_body = [&] {
        Set(tag::kBodyHtmlA, "<p>virus:B"), Set(tag::kBodyA, "virus:B");
    };
    const NoticeTexts texts;
    const std::string replaced = Fill(texts.replaced, "a", "V"), left = Fill(texts.left, "a", "V"),
                      deleted = Fill(texts.deleted, "a", "V"), body = Fill(texts.body, "B"),
                      was_kept = ", as it cannot be replaced", beware = "Beware.",
                      warn = "do append-notice \"Beware.\"";
    struct Case {
        std::string change, notice;
        std::function<void()> prepare = [] {};
        std::string rule = {}, rule_notice = {};
    };
    const Case cases[] = {
        {" replaced", replaced},
        {" replaced", body + "\r\n" + replaced, infect_body},
        {" deleted" + was_kept, deleted, [&] { fail(Call::kStreamSetSize); }},
        {" deleted" + was_kept, deleted, [&] { Set(tag::kMessageClassA, "IPM.Note.SMIME.x"); }},
        {" deleted" + was_kept, deleted, [&] { clear(), AttachStorage("virus:V"); }},
        {"", left, [&] { fail(Call::kStreamSetSize), fail(Call::kDeleteAttach); }},
        {"", left, [&] { remove_all(kept_); }},
        {" deleted", deleted, [] {}, "any do delete-attachment"},
        {" replaced, as it cannot be deleted", replaced, [&] { fail(Call::kDeleteAttach); },
         "any do delete-attachment"},
        {" deleted", "", [] {}, "attachment-find is \"v\" do delete-attachment"},
        {" replaced", "", [] {}, "attachment-find matches \"*\" do replace-attachment \"\""},
        {" replaced", replaced, [] {}, "not attachment-find is \"W\" " + warn, beware},
        {" replaced", replaced, infect_body, "body-find is \"B\" " + warn, beware},
        {"", "", infect_body, "body-find is \"B\" and attachment-find is \"V\" " + warn, beware}};
    engine_ = std::make_shared<FakeEngine>();
    for (const auto& [change, notice, prepare, rule, rule_notice] : cases) {
        SCOPED_TRACE(change + notice + rule);
        Keep();
        clear();
        Set(tag::kSubjectW, "Hello");
        Set(tag::kBodyA, "plain");
        Set(tag::kBodyHtmlA, "<p>");
        Set(tag::kMessageClassA, "IPM.Note");
        Attach("a", "virus:V");
        prepare();
        const ScanReport report = Check(rule.empty() ? rule : "when " + rule);
        mapi_.faults().Clear();
        std::vector<std::string> changes;
        if (!notice.empty()) changes.emplace_back("subject \"[INFECTED] Hello\"");
        if (!change.empty()) changes.emplace_back("attachment 1 \"a\"" + change);
        for (const std::string& text : {rule_notice, notice})
            if (!text.empty()) changes.push_back("notice \"" + text + '"');
        EXPECT_THAT(report.changes, testing::ElementsAreArray(changes));
        EXPECT_EQ(report.failures.empty(), !change.empty() || notice.empty());
        EXPECT_EQ(report.left.size(), change.empty());
        EXPECT_EQ(Kept().size(), !change.empty());
        Check();
        const std::string html = Saved(tag::kBodyHtmlA);
        EXPECT_EQ(html.find(left), html.rfind(left)) << "once, however often it is checked";
        remove_all(kept_);
    }
}

TEST(FindNotice, TellsWhatWasDoneAndRunsNothing) {
    using enum DangerousAttachment::Fate;
    NoticeTexts texts;
    EXPECT_EQ(FindNotice(texts, "", {}), "");
    EXPECT_EQ(
        FindNotice(texts, "B<i>",
                   {{"<script>&lt;\r\n\"{1}\xE4\xE2\x80\xAE", "V\"\xC3\xA4", kDeleted},
                    {"b", "W", kLeft}}),
        "The text of this message is dangerous (B_i_).\r\n"
        "The attachment \"b\" is dangerous (W) and could not be removed. Do not open it.\r\n"
        "The attachment \"_script__lt;  '{1}\xE4 \" was dangerous (V'&#228;) and was deleted.");
    texts.more = "\xD7\x91 {0}";  // in Hebrew
    std::vector attachments(500, DangerousAttachment{std::string(5000, '\x81'), "V", kLeft});
    const std::string many = FindNotice(texts, "", attachments);
    EXPECT_TRUE(many.ends_with(".\r\n&#8235;&#1489; &#8234;490&#8236;&#8236;")) << many;
    EXPECT_LT(many.size(), 2500u);
    EXPECT_NE(many.find("\x81...\x81"), many.npos) << "no half letter takes the quotation mark";
    EXPECT_NE(many.find("\x81 \" is"), many.npos);
    attachments.resize(510, {"gone", "V", kReplaced});
    EXPECT_TRUE(FindNotice(texts, "", attachments).starts_with(many + "\r\n"));
    texts.replacement = "\xD7\x91 {0}";
    EXPECT_EQ(FindReplacement(texts, "V\n<&|%"), "\xEF\xBB\xBF\xD7\x91 V ____");
}

TEST_F(ScannerEngineTest, KeepsWhatGoes) {
    constexpr std::string_view kRules = R"(when attachment-name is "a.exe" do delete-attachment
        when attachment-name is "b.txt" do replace-attachment "Removed.")";
    Keep();
    const std::string big(200'000, 'b');
    Attach("a.exe", big);
    Attach("b.txt", "text");
    Attach("../c.com.", EicarTestString());
    EXPECT_EQ(Check(kRules).result, result::kOk);
    const std::tuple<std::uint32_t, const char*, std::string, const char*> kExpected[] = {
        {1, "1-a.exe", big, "the rule in line 1"},
        {2, "2-b.txt", "text", "the rule in line 2"},
        {3, "3-.._c.com", EicarTestString(), "EICAR test string"}};
    const std::vector<KeptItem> items = ListKept(kept_);
    ASSERT_EQ(items.size(), std::size(kExpected));
    for (const auto& [id, file, content, reason] : kExpected) {
        const KeptItem& item = items[id - 1];
        EXPECT_EQ(std::tie(item.id, item.account, item.subject, item.reason, item.time),
                  std::tuple(id, "S-1-5-1", "Hello", reason, clock_.utc));
        EXPECT_EQ(item.size, content.size());
        const std::string hidden = tests::ReadFile(kept_ / (std::to_string(id) + ".kept"));
        EXPECT_EQ(hidden.find(content.substr(0, 4)), hidden.npos);
        const auto restored = RestoreKept(kept_, id, folder_.path());
        EXPECT_EQ(restored.filename(), file);
        EXPECT_EQ(tests::ReadFile(restored), content);
        EXPECT_THROW(RestoreKept(kept_, id, folder_.path()), std::runtime_error);
        EXPECT_EQ(tests::ReadFile(restored), content);
    }
    EXPECT_THROW(RestoreKept(kept_, 4, folder_.path()), std::runtime_error);
    EXPECT_THAT(Check(kRules).changes, IsEmpty()) << "what was put there is not kept";
    EXPECT_THAT(Kept(), ElementsAre(1, 2, 3));
}

TEST_F(ScannerEngineTest, LeavesWhatCannotBeKept) {
    constexpr std::string_view kRules = "when attachment-name is \"a\" do delete-attachment";
    Keep();
    std::uint32_t reads = 0;
    const std::tuple<const char*, std::function<void()>, std::function<void()>> kCases[] = {
        {"no folder", [&] { remove_all(kept_); }, [&] { Keep(); }},
        {"too large", [&] { limits_.bytes = 8192; }, [&] { limits_.bytes = 1 << 20; }},
        {"unreadable", [&] { mapi_.faults().FailNth(Call::kStreamRead, reads + 1, E_FAIL); },
         [&] { mapi_.faults().Clear(); }}};
    Attach("a", std::string(8000, 'a'));
    Check();
    reads = Calls(Call::kStreamRead);  // it is read a second time to be kept
    for (const auto& [why, fail, repair] : kCases) {
        SCOPED_TRACE(why);
        fail();
        const ScanReport report = Check(kRules);
        EXPECT_EQ(Attachments(tag::kAttachFilenameA).size(), 1u);
        ASSERT_FALSE(report.failures.empty());
        EXPECT_THAT(report.failures.back().operation, testing::HasSubstr("Keep, so it stays"));
        EXPECT_NE(report.result, result::kOk);
        repair();
        EXPECT_THAT(Kept(), IsEmpty());
        EXPECT_TRUE(std::filesystem::is_empty(kept_));
    }
    mapi_.faults().FailNth(Call::kDeleteAttach, 1, static_cast<HRESULT>(result::kRemoteCallFailed));
    Check(kRules);
    EXPECT_EQ(Kept().size(), 1u) << "nobody knows whether it is gone";
    remove_all(kept_);
    limits_.bytes = 0;
    EXPECT_EQ(Check(kRules).result, result::kOk) << "nothing is to be kept";
    EXPECT_THAT(Attachments(tag::kAttachFilenameA), IsEmpty());
    EXPECT_THAT(Kept(), IsEmpty());
}

TEST_F(ScannerEngineTest, KeepsThingsForAWhile) {
    Keep();
    std::string user;
    const auto keep = [&](std::size_t size) {
        const std::vector<std::byte> content(size);
        return memory_.kept.store->Keep({.account = user, .name = std::string(50'000, '\xE4')},
                                        [&](const auto& sink) { sink(content); });
    };
    constexpr std::uint64_t kDay = 24 * 36'000'000'000;
    limits_.bytes = 5 * 4096;
    for (std::uint32_t id = 1; id <= 3; ++id) {
        EXPECT_EQ(keep(10), id);
        clock_.utc += kDay;
    }
    EXPECT_EQ(keep(10'000), 4u);  // three clusters
    EXPECT_THAT(Kept(), ElementsAre(2, 3, 4));
    std::ofstream(kept_ / "5.kept.new") << "half";
    std::ofstream(kept_ / "6.kept") << "broken";
    Keep();
    EXPECT_FALSE(exists(kept_ / "5.kept.new"));
    EXPECT_EQ(keep(1), 7u);
    EXPECT_THAT(Kept(), ElementsAre(3, 4, 7));
    clock_.utc += 28 * kDay;
    limits_.are_known = false;
    memory_.kept.store->ExpireDaily();
    EXPECT_THROW(keep(1), std::runtime_error);
    EXPECT_THAT(Kept(), ElementsAre(3, 4, 7)) << "limits are not known";
    limits_ = {std::chrono::days(30), 1 << 20};
    memory_.kept.store->ExpireDaily();
    EXPECT_THAT(Kept(), ElementsAre(3, 4, 7)) << "looked at today";
    clock_.utc += kDay;
    memory_.kept.store->ExpireDaily();
    EXPECT_THAT(Kept(), ElementsAre(4, 7));
    EXPECT_EQ(logged_, 4);

    limits_.bytes = 5 * 4096;
    user = "another";
    EXPECT_EQ(keep(1), 9u);
    EXPECT_EQ(keep(1), 10u);
    EXPECT_THAT(Kept(), ElementsAre(7, 9, 10)) << "who keeps most loses his oldest";
    EXPECT_THROW(keep(17'000), std::runtime_error) << "there is room only where less is kept";
    const std::filesystem::path last = kept_ / "last-number", no_file = kept_ / "last-number.new";
    create_directory(no_file);
    EXPECT_THROW(keep(14'000), std::runtime_error);
    remove(no_file);
    EXPECT_THAT(Kept(), ElementsAre(7, 9, 10)) << "what is not kept takes nothing from others";
    EXPECT_EQ(keep(14'000), 13u);
    EXPECT_THAT(Kept(), ElementsAre(7, 13));

    const std::filesystem::path file = kept_ / "7.kept", aside = folder_.path() / "7.kept";
    rename(file, aside);
    create_directories(file / "x");  // cannot be removed
    clock_.utc += 31 * kDay;
    memory_.kept.store->ExpireDaily();
    EXPECT_THAT(Kept(), IsEmpty());
    remove(file / "x");
    remove(file);
    rename(aside, file);
    clock_.utc += kDay;
    memory_.kept.store->ExpireDaily();
    EXPECT_THAT(Kept(), IsEmpty());
    Keep();
    EXPECT_EQ(keep(1), 14u) << "no number is given twice";
    for (const std::string number : {"", "15 ", "4294967296", "4294967295"}) {
        std::ofstream(last) << number;
        logged_ = 0;
        Keep();
        EXPECT_EQ(logged_, number.ends_with('5') ? 1 : 2) << number << ", beside the broken item";
    }
    EXPECT_THROW(keep(1), std::runtime_error) << "there is none left";
}

}  // namespace
}  // namespace reference_product
