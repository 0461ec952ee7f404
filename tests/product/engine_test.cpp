#include "product/scanner_engine.h"

#include <gmock/gmock.h>

#include "product/action_runner.h"
#include "tests/product/fake_message.h"

namespace reference_product {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace result = vek::result;

ScanReport Check(FakeMessage& message, std::string_view rules = {}, bool incoming = true) {
    ParsedRules parsed = ParseRules(rules, "f");
    EXPECT_THAT(parsed.errors, IsEmpty()) << ToText(parsed.errors.front());
    return ScannerEngine(std::move(parsed.rules)).Check(incoming, message);
}

FakePart Attachment(std::string name, std::string content, std::string type = "text/plain") {
    return {.content = content, .file_name = name, .name = {}, .type = type};
}

std::string EscapedForRtf(std::string text) {
    for (std::size_t at = 0; (at = text.find_first_of("\\{}", at)) != text.npos; at += 2) {
        text.insert(at, 1, '\\');
    }
    return text;
}

TEST(ScannerEngine, FindsTheTestStringAcrossReads) {
    const std::string eicar = EicarTestString();
    for (const std::size_t before : {65536u - 68, 65536u - 67, 65536u - 1, 65536u, 131072u - 20}) {
        const auto message = vek::MakeObject<FakeMessage>();
        const std::string content = std::string(before, 'X') + eicar + "tail";
        message->plain.emplace().content = content;
        const ScanReport report = Check(*message);
        EXPECT_TRUE(report.infected) << before;
        EXPECT_EQ(report.bytes_read, content.size());
        EXPECT_EQ(message->subject, u"[INFECTED] Hello");
        EXPECT_THAT(message->notices, ElementsAre(kInfectedNotice));
        EXPECT_EQ(message->plain->content, content);
    }
}

TEST(ScannerEngine, FindsTheTestStringInEveryContent) {
    const std::string eicar = EicarTestString();
    const struct {
        const char* place;
        std::optional<FakePart> FakeMessage::*body;
        std::string content;
        bool infected;
    } cases[] = {
        {"HTML body", &FakeMessage::html, "<p>" + eicar, true},
        {"RTF body", &FakeMessage::rich, "{\\rtf1 " + EscapedForRtf(eicar) + "}", true},
        {"RTF body", &FakeMessage::rich, eicar, true},
        {"plain body", &FakeMessage::plain, eicar.substr(1), false},
    };
    for (const auto& [place, body, content, infected] : cases) {
        const auto message = vek::MakeObject<FakeMessage>();
        (message.get()->*body).emplace().content = content;
        const ScanReport report = Check(*message);
        EXPECT_EQ(report.infected, infected) << place;
        if (infected) {
            EXPECT_THAT(report.findings, ElementsAre("EICAR test string in " + std::string(place)));
        }
    }
}

TEST(ScannerEngine, ReplacesInfectedAttachmentsOnce) {
    const auto message = vek::MakeObject<FakeMessage>();
    message->html.emplace().content = "<p>";
    message->attachments = {Attachment("clean.txt", "clean"),
                            Attachment("bad.com", EicarTestString() + std::string(500, ' '))};
    const ScanReport first = Check(*message);
    EXPECT_THAT(first.changes,
                ElementsAre("subject \"[INFECTED] Hello\"", "attachment 2 \"bad.com\" replaced",
                            "notice \"" + std::string(kInfectedNotice) + '"'));
    EXPECT_EQ(message->attachments[0].content, "clean");
    EXPECT_EQ(message->attachments[1].content, kInfectedReplacement);
    const ScanReport again = Check(*message);
    EXPECT_FALSE(again.infected);
    EXPECT_THAT(again.changes, IsEmpty());
}

TEST(ScannerEngine, DecidesByConditions) {
    const struct {
        const char* condition;
        bool applies;
    } cases[] = {
        {"incoming any", true},
        {"outgoing any", false},
        {"sender is \"BOB@example.com\"", true},
        {"not sender contains \"alice\"", true},
        {"subject is \"hell\"", false},
        {"subject matches \"h*O\"", true},
        {"header is \"x-long: one two\"", true},
        {"header contains \"by a\" and subject is \"no\"", false},
        {"body contains \"WIRE transfer\"", true},
        {"not body contains \"gold\"", true},
        {"attachment-contains \"wire\"", false},
        {"attachment-contains \"Secret\"", true},
        {"attachment-name matches \"*.zip\" and attachment-contains \"secret\"", false},
        {"attachment-name matches \"*.txt\" and attachment-contains \"secret\"", true},
        {"attachment-name is \"shown name\"", true},
        {"attachment-type is \"application/zip\"", true},
    };
    for (const auto& [condition, applies] : cases) {
        const auto message = vek::MakeObject<FakeMessage>();
        message->html.emplace().content = "a wire transfer";
        message->attachments = {Attachment("a.zip", "", "application/zip"),
                                Attachment("b.txt", "a secret")};
        message->attachments[1].name = "Shown name";
        Check(*message, "when " + std::string(condition) + " do set-property 0x3FFF001E \"y\"");
        EXPECT_EQ(message->properties.contains(0x3FFF001E), applies) << condition;
    }
}

TEST(ScannerEngine, DoesWhatRulesSay) {
    constexpr std::string_view kRules = R"(
        when any do set-subject "[a] {subject}", set-property 0x3FFF001E "v"
        when any do set-subject "[b] {subject}!", set-header "X-A: 1", add-header "X-Long: one two"
        when any do add-header "X-New: 1", append-notice "Beware.", append-notice "Beware."
        when attachment-name matches "*.exe" do rename-attachment "never", delete-attachment
        when attachment-name contains "b.zip" do rename-attachment "{name}.blocked"
        when attachment-contains "secret" do replace-attachment "Removed by policy.")";
    const auto message = vek::MakeObject<FakeMessage>();
    message->attachments = {Attachment("a.exe", "secret"), Attachment("b.zip", "zip"),
                            Attachment("c.txt", "a long secret of many words")};
    EXPECT_EQ(Check(*message, kRules).result, result::kOk);
    EXPECT_EQ(message->subject, u"[b] [a] Hello!");
    EXPECT_EQ(message->properties[0x3FFF001E], "v");
    EXPECT_THAT(message->set_headers, ElementsAre("X-A: 1\r\n"));
    EXPECT_THAT(message->added_headers, ElementsAre("X-New: 1"));
    EXPECT_THAT(message->notices, ElementsAre("Beware."));
    EXPECT_TRUE(message->attachments[0].deleted);
    EXPECT_EQ(message->attachments[0].file_name, "a.exe");
    EXPECT_EQ(message->attachments[0].content, "secret");
    EXPECT_EQ(message->attachments[1].content, "zip");
    EXPECT_EQ(message->attachments[2].content, "Removed by policy.");

    // Checked again, texts do not grow, and the mark stays in front of them.
    message->plain.emplace().content = EicarTestString();
    for (int again = 0; again < 2; ++again) {
        Check(*message, kRules);
        EXPECT_EQ(message->subject, u"[INFECTED] [b] [a] Hello!");
        EXPECT_EQ(message->attachments[1].file_name, "b.zip.blocked");
    }
}

TEST(ScannerEngine, RecordsFailuresAndGoesOn) {
    constexpr vek::result_t kLost = 0x800706BA;
    const struct {
        const char* operation;
        vek::result_t code;
        const char* failure;
        std::u16string_view subject;
        bool replaced;
    } cases[] = {
        {"GetHeaderSummary", kLost, "GetHeaderSummary", u"[INFECTED] Hello", true},
        {"GetSubject", kLost, "GetSubject", u"Hello", true},
        {"SetSubject", kLost, "SetSubject", u"Hello", true},
        {"GetPlainBody", kLost, "GetPlainBody", u"[INFECTED] Hello", true},
        {"GetAttachments", kLost, "GetAttachments", u"Hello", false},
        {"SetSize", kLost, "attachment 1 \"bad.com\": SetSize", u"[INFECTED] Hello", false},
        {"Write", result::kNotSupported, "attachment 1 \"bad.com\": Write", u"[INFECTED] Hello",
         false},
    };
    for (const auto& [operation, code, failure, subject, replaced] : cases) {
        const auto message = vek::MakeObject<FakeMessage>();
        message->html.emplace().content = "<p>";
        message->attachments = {Attachment("bad.com", EicarTestString())};
        message->plan.answers[operation] = code;
        const ScanReport report = Check(*message);
        ASSERT_EQ(report.failures.size(), 1u) << operation;
        EXPECT_EQ(report.failures[0].operation, failure);
        EXPECT_EQ(report.result, code);
        EXPECT_EQ(message->subject, subject) << operation;
        EXPECT_EQ(message->attachments[0].content == kInfectedReplacement, replaced) << operation;
    }
}

TEST(ScannerEngine, PassesAttachmentsThatAreNotOffered) {
    const auto message = vek::MakeObject<FakeMessage>();
    message->html.emplace().content = "<p>";
    message->attachments = {Attachment("inner", ""), Attachment("bad.com", EicarTestString())};
    message->attachments[0].next_answer = result::kNotSupported;
    const ScanReport report = Check(*message);
    EXPECT_TRUE(report.infected);
    EXPECT_EQ(report.result, result::kOk);
    EXPECT_THAT(report.failures, IsEmpty());
    EXPECT_THAT(report.not_offered, ElementsAre("attachment 1"));

    // One that never gets on is given up.
    message->plan.answers["Next"] = result::kUnexpected;
    EXPECT_EQ(Check(*message).result, result::kUnexpected);
}

}  // namespace
}  // namespace reference_product
