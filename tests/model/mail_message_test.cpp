#include "model/mail_message_impl.h"

#include <functional>

#include "model/internet_headers.h"
#include "model/md5.h"
#include "model/notice.h"
#include "tests/support/mail_fixture.h"
#include "vek/core/exception.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using sandbox::outlook::PropertyBag;
using sandbox::outlook::PropertyValue;
using vek::result_t;
namespace tag = mapi::tag;
namespace result = vek::result;

class MailMessageTest : public tests::MailFixture {
protected:
    void Open() {
        mail_.reset();
        mail_ = vek::MakeObject<MailMessageImpl>(mapi_.OpenMessage(entry_id_), mapi_.OpenSession(),
                                                 functions_, tracer_, owner_, clock_);
    }

    // What a reading operation gives: its text, or its code as "0x...".
    template <class Text>
    std::string Read(result_t (IMailMessage::*operation)(Text&) noexcept) {
        Text value{};
        const result_t code = (mail_.get()->*operation)(value);
        std::string text;
        if (vek::Failed(code)) {
            vek::trace::AppendPiece(text, vek::trace::Hex(code));
        } else {
            vek::trace::AppendPiece(text, value);
        }
        return text;
    }

    std::string ReadAll(IDataStream& stream) {
        std::string content;
        std::array<std::byte, 7> buffer;
        for (std::uint32_t read = 1; read != 0;) {
            EXPECT_EQ(stream.Read(buffer, read), result::kOk);
            content.append(reinterpret_cast<const char*>(buffer.data()), read);
        }
        return content;
    }

    void AddRecipient(std::int32_t type, const char* name, const char* address) {
        Edit([&](auto& record) {
            PropertyBag row;
            row.Set(tag::kRecipientType, PropertyValue::Long(type));
            row.Set(tag::kDisplayNameA, PropertyValue::Text(name));
            row.Set(tag::kAddrTypeA, PropertyValue::Text("SMTP"));
            if (address != nullptr) row.Set(tag::kEmailAddressA, PropertyValue::Text(address));
            record.recipients.push_back(row);
        });
    }

    std::shared_ptr<tests::InlineOwner> owner_ = std::make_shared<tests::InlineOwner>();
    vek::RefPtr<MailMessageImpl> mail_;
};

TEST_F(MailMessageTest, TheSummarySaysWhichMessageItIs) {
    const struct {
        const char* what;
        std::function<void()> change;
        const char* summary;
    } cases[] = {
        {"sent", [] {}, "[From:Ann][Subject:Hello][Time:2024/03/05 09:07:02]"},
        {"without a sender name", [&] { Erase(tag::kSenderNameA); },
         "[From:None][Subject:Hello][Time:2024/03/05 09:07:02]"},
        {"without a time",
         [&] {
             Set(tag::kSenderNameA, "Ann");
             Erase(tag::kClientSubmitTime);
         },
         "[From:None][Subject:Hello][Time:]"},
        {"without a subject", [&] { Erase(tag::kSubjectA); }, "[From:None][Subject:][Time:]"},
        {"changed last",
         [&] {
             Edit([](auto& record) {
                 record.properties.Set(tag::kLastModificationTime,
                                       PropertyValue::Time(133'485'408'000'000'000));
             });
         },
         "[From:None][Subject:][Time:2024/01/01 01:00:00]"},
        {"received, nobody named",
         [&] {
             Edit([](auto& record) {
                 record.properties.Set(tag::kProviderSubmitTime,
                                       PropertyValue::Time(133'485'408'000'000'000));
             });
         },
         "0x8000004c"},
        {"received", [&] { Set(tag::kDisplayToA, "Bob"); },
         "[To:Bob][Subject:][Time:2024/01/01 01:00:00]"},
    };
    for (const auto& each : cases) {
        each.change();
        Open();
        EXPECT_EQ(Read(&IMailMessage::GetHeaderSummary), each.summary) << each.what;
    }
}

TEST_F(MailMessageTest, ReadsWhatTheMessageHasAndFailsWhereItMustHaveIt) {
    Open();
    EXPECT_EQ(Read(&IMailMessage::GetSender), "\"Ann\" <SMTP:ann@example.com>");
    EXPECT_EQ(Read(&IMailMessage::GetSentRepresenting), "\"\" <:>");
    EXPECT_EQ(Read(&IMailMessage::GetTime), "2024/03/05 09:07:02");
    EXPECT_EQ(Read(&IMailMessage::GetSubject), "Hello");
    EXPECT_EQ(Read(&IMailMessage::GetSenderName), "Ann");
    using Reader = result_t (IMailMessage::*)(std::string&) noexcept;
    const std::pair<Reader, ULONG> required[] = {
        {&IMailMessage::GetSenderName, tag::kSenderNameA},
        {&IMailMessage::GetSentRepresentingName, tag::kSentRepresentingNameA},
        {&IMailMessage::GetDisplayTo, tag::kDisplayToA},
        {&IMailMessage::GetDisplayCc, tag::kDisplayCcA},
        {&IMailMessage::GetInternetMessageId, tag::kInternetMessageIdA},
        {&IMailMessage::GetTransportHeaders, tag::kTransportMessageHeadersA}};
    Erase(tag::kSubjectA);
    Erase(tag::kSenderNameA);
    Erase(tag::kClientSubmitTime);
    Open();
    EXPECT_EQ(Read(&IMailMessage::GetSubject), "0x80000180");
    EXPECT_EQ(Read(&IMailMessage::GetTime), "0x80000072") << "a failed check";
    for (const auto& [reader, property] : required) {
        Open();
        EXPECT_EQ(Read(reader), "0x80000180");
        Set(property, "value");
        Open();
        EXPECT_EQ(Read(reader), "value");
    }
}

TEST_F(MailMessageTest, ListsRecipientsOfOneTypeThatAreWhole) {
    Open();
    EXPECT_EQ(Read(&IMailMessage::GetToRecipients), "0x80000180");
    AddRecipient(MAPI_TO, "Bob", "bob@example.com");
    AddRecipient(MAPI_CC, "Cy", "cy@example.com");
    AddRecipient(MAPI_TO, "Lost", nullptr);
    AddRecipient(MAPI_TO, "Di", "di@example.com");
    Open();
    EXPECT_EQ(Read(&IMailMessage::GetToRecipients),
              "\"Bob\" <SMTP:bob@example.com>; \"Di\" <SMTP:di@example.com>; ");
    EXPECT_EQ(Read(&IMailMessage::GetCcRecipients), "\"Cy\" <SMTP:cy@example.com>; ");
}

TEST_F(MailMessageTest, FindsTheSendersSmtpAddressInTheAddressBook) {
    Open();
    EXPECT_EQ(Read(&IMailMessage::GetSenderSmtpAddress), "0x8000004c");
    PropertyBag user;
    user.Set(tag::kSmtpAddressA, PropertyValue::Text("ann@real.example.com"));
    mapi_.store().PutUser("ann", user);
    Edit([](auto& record) {
        record.properties.Set(tag::kSenderEntryId, PropertyValue::Binary(std::string("ann")));
    });
    Open();
    EXPECT_EQ(Read(&IMailMessage::GetSenderSmtpAddress), "ann@real.example.com");
    mapi_.faults().FailNth(outlook_call::kQueryInterface, 1, E_NOINTERFACE);
    EXPECT_EQ(Read(&IMailMessage::GetSenderSmtpAddress), "0x80000072") << "a failed check";
}

std::string HexOf(std::span<const std::byte> bytes) {
    std::string hex;
    for (std::byte b : bytes) {
        hex.push_back("0123456789abcdef"[static_cast<unsigned>(b) >> 4]);
        hex.push_back("0123456789abcdef"[static_cast<unsigned>(b) & 0xF]);
    }
    return hex;
}

TEST(Md5Test, GivesThePublishedDigests) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& [text, digest] : cases) {
        EXPECT_EQ(HexOf(Md5(std::as_bytes(std::span(text)))), digest);
    }
}

TEST_F(MailMessageTest, TheHashFollowsIdentityAndSizes) {
    const auto hash = [&] {
        Open();
        std::uint64_t value = 0;
        EXPECT_EQ(mail_->GetMessageHash(value), result::kOk);
        return value;
    };
    const std::uint64_t first = hash();
    EXPECT_EQ(hash(), first);
    Set(tag::kBodyA, "other text");
    EXPECT_EQ(hash(), first) << "of the same size";
    Set(tag::kBodyA, "longer text");
    const std::uint64_t longer = hash();
    EXPECT_NE(longer, first);
    Edit([](auto& record) {
        PropertyBag attachment;
        attachment.Set(tag::kAttachMethod, PropertyValue::Long(ATTACH_BY_VALUE));
        attachment.Set(tag::kAttachDataBin, PropertyValue::Binary(std::string("data")));
        record.AddAttachment(attachment);
    });
    EXPECT_NE(hash(), longer);
    EXPECT_EQ(tracer_->Count("700 PR_BODY size=11"), 2u);
    EXPECT_EQ(tracer_->Count("700 PR_ATTACH_SIZE[0]: "), 1u);
}

TEST_F(MailMessageTest, TheHashIsTheFoldedDigestOfItsFacts) {
    Open();
    std::uint64_t value = 0;
    EXPECT_EQ(mail_->GetMessageHash(value), result::kOk);
    std::string facts = entry_id_ + std::string("\x0A\0\0\0\0\0\0\0", 8) + std::string(2, '\0');
    const auto digest = Md5(std::as_bytes(std::span(facts)));
    std::uint64_t expected = 0;
    for (std::size_t i = 8; i-- > 0;) {
        expected = expected << 8 | static_cast<unsigned>(digest[i] ^ digest[8 + i]);
    }
    EXPECT_EQ(value, expected);
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
        mail_.reset();
        Set(tag::kTransportMessageHeadersA, each.headers);
        Open();
        const result_t code = mail_->SetHeader(each.line);
        EXPECT_EQ(code, each.replaced != nullptr ? result::kOk : result::kUnknownException);
        EXPECT_EQ(Read(&IMailMessage::GetTransportHeaders),
                  each.replaced != nullptr ? each.replaced : each.headers)
            << each.line;
    }
    mail_.reset();
    Set(tag::kTransportMessageHeadersA, "A: b\r\n");
    Open();
    EXPECT_EQ(mail_->AddHeader("no colon"), result::kUnknownException);
    EXPECT_EQ(mail_->AddHeader("X: 1"), result::kOk);
    mail_.reset();
    EXPECT_EQ(Saved(tag::kTransportMessageHeadersA), "A: b\r\n\r\nX: 1\r\n\r\n");
}

TEST_F(MailMessageTest, ANoticeGoesOnlyWhereItBreaksNothing) {
    const struct {
        const char *message_class, *stored_type, *headers;
        std::uint32_t outcome;
    } cases[] = {
        {"IPM.Note.sMiMe.MultipartSigned", nullptr, nullptr, 0},
        {"IPM.Note", nullptr, nullptr, 1},
        {"IPM.Note", nullptr, "A: b\r\nContent-TYPE: text/plain\r\n", 0},
        {"IPM.Note", nullptr, "Content-Type: Multipart/SIGNED; x\r\n", 1},
        {"IPM.Note", nullptr, "Content-Type: multipart/encrypted\r\n", 1},
        {"IPM.Note", nullptr, "Content-Type: application/x-pkcs7-mime\r\n", 1},
        {"IPM.Note", nullptr, "Content-Type: text/plain", 1},
        {"IPM.Note", nullptr, "A: b\r\n", 1},
        {"IPM.Note", "multipart/Signed", "Content-Type: text/plain\r\n", 1},
        {"IPM.Note", "text/plain", nullptr, 0},
    };
    const auto set = [&](ULONG property, const char* value) {
        value != nullptr ? Set(property, value) : Erase(property);
    };
    for (const auto& each : cases) {
        set(tag::kMessageClassA, each.message_class);
        set(tag::kContentTypeA, each.stored_type);
        set(tag::kTransportMessageHeadersA, each.headers);
        Set(tag::kBodyA, "plain");
        Set(tag::kBodyHtmlA, "<HTML>x</HTML>");
        Open();
        std::uint32_t outcome = 7;
        EXPECT_EQ(mail_->AppendNotice("Beware", outcome), result::kOk);
        EXPECT_EQ(outcome, each.outcome) << (each.headers ? each.headers : each.message_class);
        mail_.reset();
        const bool inserted = each.outcome == 0;
        EXPECT_EQ(Saved(tag::kBodyA),
                  inserted ? "plain\r\n---------------------\r\nBeware" : "plain");
        EXPECT_EQ(Saved(tag::kBodyHtmlA),
                  inserted ? "<HTML>x<br>\r\n---------------------\r\n<br>\r\nBeware</HTML>"
                           : "<HTML>x</HTML>");
    }
}

TEST_F(MailMessageTest, ANoticeGoesInOnceNearTheEndOfBodiesOfAnySize) {
    EXPECT_EQ(NoticeChunkSize(4096), 4096u);
    EXPECT_EQ(NoticeChunkSize(8192), 4046u);
    EXPECT_EQ(NoticeChunkSize(std::uint64_t{1} << 32), 4096u) << "no division by zero";
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    const std::string rule = "\r\n---------------------\r\n";
    for (const std::size_t size : {1u, 4095u, 4096u, 4097u, 8191u, 8192u, 70'000u}) {
        const std::string body(size, 'x');
        Set(tag::kBodyA, body);
        Set(tag::kBodyHtmlA, "<p>" + body);
        Open();
        std::uint32_t outcome = 0;
        vek::RefPtr<IPropertyProvider> provider;
        vek::RefPtr<IDataStream> read_before;
        ASSERT_EQ(mail_->GetPlainBody(provider.put()), result::kOk);
        ASSERT_EQ(provider->OpenStream(access_mode::kRead, 0, read_before.put()), result::kOk);
        ReadAll(*read_before);
        read_before.reset();
        provider.reset();
        for (int i = 0; i < 2; ++i) EXPECT_EQ(mail_->AppendNotice("Beware", outcome), result::kOk);
        mail_.reset();
        EXPECT_EQ(Saved(tag::kBodyA), body + rule + "Beware") << size;
        EXPECT_EQ(Saved(tag::kBodyHtmlA), "<p>" + body + "<br>" + rule + "<br>\r\nBeware") << size;
    }
}

TEST_F(MailMessageTest, BodiesAreStreamsThatAreSavedWhenWritten) {
    Open();
    vek::RefPtr<IPropertyProvider> body;
    EXPECT_EQ(mail_->GetHtmlBody(body.put()), result::kNotFound);
    EXPECT_EQ(body, nullptr);
    ASSERT_EQ(mail_->GetPlainBody(body.put()), result::kOk);
    std::string text;
    std::uint32_t number = 1;
    EXPECT_EQ(body->GetName(text), result::kOk);
    EXPECT_EQ(text, "PlainBody");
    EXPECT_EQ(body->GetFileName(text), result::kPropertyNotFound);
    EXPECT_EQ(body->GetMimeTag(text), result::kPropertyNotFound);
    EXPECT_EQ(body->Rename("x"), result::kPropertyNotFound);
    EXPECT_EQ(body->GetSize(number), result::kOk);
    EXPECT_EQ(number, 0u);

    vek::RefPtr<IDataStream> stream;
    ASSERT_EQ(body->OpenStream(access_mode::kRead, 0, stream.put()), result::kOk);
    std::uint64_t size = 0;
    EXPECT_EQ(stream->GetSize(size), result::kOk);
    EXPECT_EQ(size, 10u);
    EXPECT_EQ(ReadAll(*stream), "plain text");
    EXPECT_EQ(stream->Seek(-4, SeekOrigin::kEnd, size), result::kOk);
    EXPECT_EQ(size, 6u);
    EXPECT_EQ(ReadAll(*stream), "text");
    EXPECT_TRUE(vek::Failed(stream->Write(std::as_bytes(std::span("x", 1)), number)));

    constexpr std::uint32_t kReadWrite = access_mode::kRead | access_mode::kWrite;
    ASSERT_EQ(body->OpenStream(kReadWrite, 0, stream.put()), result::kOk);
    EXPECT_EQ(stream->Write(std::as_bytes(std::span("PLAIN", 5)), number), result::kOk);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(stream->SetSize(8), result::kOk);
    EXPECT_EQ(stream->Commit(), result::kOk);
    mail_.reset();
    body.reset();
    EXPECT_EQ(Saved(tag::kBodyA), "plain text") << "the stream still has the message";
    stream.reset();
    EXPECT_EQ(Saved(tag::kBodyA), "PLAIN te");

    Set(tag::kMessageClassA, "IPM.Note.Smime");
    Open();
    ASSERT_EQ(mail_->GetPlainBody(body.put()), result::kOk);
    EXPECT_EQ(body->OpenStream(kReadWrite, 0, stream.put()), result::kNotSupported);
    EXPECT_EQ(
        tracer_->Count("700 Write request blocked, because the message is encrypted or signed"),
        1u);
    EXPECT_EQ(body->OpenStream(access_mode::kRead, 0, stream.put()), result::kOk);
    EXPECT_EQ(body->Delete(), result::kOk);
    EXPECT_EQ(Saved(tag::kBodyA), "(none)") << "saved at once";
}

}  // namespace
}  // namespace plugins::mail_processing
