#include "mapi/entry_id.h"
#include "model/md5.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

using vek::result_t;
namespace tag = mapi::tag;
namespace result = vek::result;

using MailMessageTest = ContentFixture;

TEST_F(MailMessageTest, TheSummarySaysWhichMessageItIs) {
    const std::int64_t new_year = 133'485'408'000'000'000, an_hour = 36'000'000'000;
    const std::string sent = "2024/03/05 09:07:02", midnight = "2024/01/01 02:00:00";
    const std::string none = "0x80000072";
    const struct {
        ULONG tag;
        std::optional<Value> value;  // erased without
        std::string summary, time;
    } steps[] = {
        {tag::kDisplayCcA, {}, "[From:Ann][Subject:Hello][Time:" + sent + "]", sent},
        {tag::kSenderNameA, {}, "[From:None][Subject:Hello][Time:" + sent + "]", sent},
        {tag::kSenderNameA, Text("Bob"), "[From:Bob][Subject:Hello][Time:" + sent + "]", sent},
        {tag::kClientSubmitTime, {}, "[From:None][Subject:Hello][Time:]", none},
        {tag::kSubjectA, {}, "[From:None][Subject:][Time:]", none},
        {tag::kLastModificationTime, Value::Time(new_year),
         "[From:None][Subject:][Time:2024/01/01 01:00:00]", none},
        {tag::kProviderSubmitTime, Value::Time(new_year + an_hour), "0x8000004c", midnight},
        {tag::kDisplayToA, Text("Cy"), "[To:Cy][Subject:][Time:" + midnight + "]", midnight},
    };
    for (const auto& step : steps) {
        step.value ? Set(step.tag, *step.value) : Erase(step.tag);
        OpenMail();
        EXPECT_EQ(TextOf(mail_, &IMailMessage::GetHeaderSummary), step.summary);
        EXPECT_EQ(TextOf(mail_, &IMailMessage::GetTime), step.time) << step.summary;
    }
}

TEST_F(MailMessageTest, FailsWhereAPropertyMustBeThere) {
    Erase(tag::kSenderNameA);
    using M = IMailMessage;
    Erase(tag::kSubjectA);
    OpenMail();
    for (const auto reader :
         {&M::GetSenderName, &M::GetSentRepresentingName, &M::GetDisplayTo, &M::GetDisplayCc,
          &M::GetInternetMessageId, &M::GetTransportHeaders, &M::GetToRecipients})
        EXPECT_EQ(TextOf(mail_, reader), "0x80000180");
    EXPECT_EQ(TextOf(mail_, &M::GetSubject), "0x80000180");
    EXPECT_EQ(TextOf(mail_, &M::GetSenderSmtpAddress), "0x8000004c");
    EXPECT_EQ(TextOf(mail_, &M::GetSentRepresenting), "\"\" <:>");
}

TEST(Md5Test, GivesThePublishedDigests) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"", u"D41D8CD98F00B204E9800998ECF8427E"},
        {"message digest", u"F96B697D7CB7938D525A2F31AAF161D0"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         u"D174AB98D277D9F5A5611C2C9F419D9F"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         u"57EDF4A22BE3C955AC49DA2E2107B67A"}};
    for (const auto& [text, digest] : cases)
        EXPECT_EQ(mapi::EntryIdToHex(Md5(std::as_bytes(std::span(text)))), digest);
}

// The digest of `facts`, its halves folded.
std::uint64_t Folded(const std::string& facts) {
    const auto digest = Md5(std::as_bytes(std::span(facts)));
    std::uint64_t folded = 0;
    for (std::size_t i = 8; i-- > 0;)
        folded = folded << 8 | static_cast<unsigned>(digest[i] ^ digest[8 + i]);
    return folded;
}

TEST_F(MailMessageTest, TheHashIsTheFoldedDigestOfItsFacts) {
    const auto hash = [&] {
        std::uint64_t value = 0;
        EXPECT_EQ(mail_->GetMessageHash(value), result::kOk);
        return value;
    };
    OpenMail();
    const std::string body_size("\x0A\0\0\0\0\0\0\0", 8), no_attachments(2, '\0');
    EXPECT_EQ(hash(), Folded(entry_id_ + body_size + no_attachments));

    Set(tag::kBodyHtmlA, "<p>");
    Edit([&](auto& record) {
        record.AddAttachment(Bag({{tag::kAttachDataBin, Value::Binary(std::string(300, 'x'))}}));
    });
    OpenMail();
    const std::string html_size("\3\0\0\0\0\0\0\0", 8), attachments("\1\0\x2C\1\0\0", 6);
    EXPECT_EQ(hash(), Folded(entry_id_ + body_size + html_size + attachments));

    sandbox::outlook::MessageRecord draft;
    draft.properties = Bag({{tag::kSubjectA, Text("Hi")}});
    mail_ = vek::MakeObject<MailMessageImpl>(mapi_.NewMessage(draft), nullptr, functions_, tracer_,
                                             owner_, clock_);
    EXPECT_EQ(hash(), Folded("[From:None][Subject:Hi][Time:]" + no_attachments));
}

TEST_F(MailMessageTest, ReplacesAndAddsHeaders) {
    const struct {
        const char *headers, *line, *replaced;
    } cases[] = {
        {"X-Tag: 0\r\nA: b\r\nX-Tag: 0\r\n", "X-Tag: 1", "A: b\r\nX-Tag: 1"},
        {"x-tag: 0\r\n", "X-Tag: 1", "x-tag: 0\r\nX-Tag: 1"},
        {"See X-Tag here\r\nA: b\r\n", "X-Tag: 1", "See A: b\r\nX-Tag: 1"},
        {"XX-Tag: 0\r\n-Tag: 2\r\nB: c\r\n", "X-Tag: 1", "B: c\r\nX-Tag: 1"},
        {"", "X: 1", "X: 1"},
        {"X: 0", "X: 1", nullptr},
        {"A: b\r\n", "no colon", nullptr},
        {"A: b\r\n", ": no name", nullptr},
    };
    for (const auto& each : cases) {
        const bool accepted = each.replaced != nullptr;
        Close();
        Set(tag::kTransportMessageHeadersA, each.headers);
        OpenMail();
        EXPECT_EQ(mail_->SetHeader(each.line), accepted ? result::kOk : result::kUnknownException);
        EXPECT_EQ(TextOf(mail_, &IMailMessage::GetTransportHeaders),
                  accepted ? each.replaced : each.headers);
    }
    EXPECT_EQ(mail_->AddHeader("no colon"), result::kUnknownException);
    EXPECT_EQ(mail_->AddHeader("X: 1"), result::kOk);
    Close();
    EXPECT_EQ(Saved(tag::kTransportMessageHeadersA), "A: b\r\n\r\nX: 1\r\n\r\n");
}

}  // namespace
}  // namespace plugins::mail_processing
