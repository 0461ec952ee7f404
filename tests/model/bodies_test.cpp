// Bodies as streams: plain text and HTML as they are, the rich body as plain RTF; and the notice.

#include "mapi/mapi_streams.h"
#include "model/notice.h"
#include "model/stream_property_provider.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

using vek::result_t;
namespace tag = mapi::tag;
namespace result = vek::result;

constexpr const char* kText = "{\\rtf1\\ansi\\deff0 Some rich text.\\par}";

class BodiesTest : public ContentFixture {
protected:
    BodiesTest() { SetRich(sandbox::outlook::CompressRtf(kText)); }

    void SetRich(const std::vector<std::byte>& bytes) { Set(tag::kRtfCompressed, Binary(bytes)); }
    result_t Open(result_t (IMailMessage::*body)(IPropertyProvider**) noexcept) {
        OpenMail();
        return (mail_.get()->*body)(one_.put());
    }
    static constexpr auto kPlain = &IMailMessage::GetPlainBody;
    static constexpr auto kRich = &IMailMessage::GetRichBody;
};

TEST_F(BodiesTest, RichOnesAreReadFromTheStartEachTimeAndNotWrittenUnasked) {
    ASSERT_EQ(Open(kRich), result::kOk);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        EXPECT_EQ(Read(), kText);
    }
    EXPECT_TRUE(vek::Failed(Write("x")));
}

TEST_F(BodiesTest, EachReaderHasHisOwnPlace) {
    ASSERT_EQ(Open(kPlain), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(Read(3), "pla");
    auto other = std::move(stream_);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(Read(5), "plain");
    std::swap(stream_, other);
    EXPECT_EQ(Read(4), "in t");
    other.reset();
    // Another body is opened meanwhile, and the first for writing, which the store may refuse.
    other = std::move(stream_);
    vek::RefPtr<IPropertyProvider> rich;
    EXPECT_EQ(mail_->GetRichBody(rich.put()), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(Read(5), "plain");
    if (OpenStream(kReadWrite) == result::kOk) {
        EXPECT_EQ(Read(5), "plain");
        std::uint32_t written = 0;
        stream_->Write(std::as_bytes(std::span("?", 1)), written);
    }
    std::swap(stream_, other);
    EXPECT_EQ(Read(3), "ext");
    other.reset();
    Close();
    EXPECT_EQ(Saved(tag::kBodyA), "plain text") << "nobody committed";

    ASSERT_EQ(Open(kRich), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    other = std::move(stream_);
    EXPECT_EQ(OpenStream(kRead), result::kNotReady) << "plain RTF is read once at a time";
}

TEST_F(BodiesTest, AreSavedWithTheLastUserOfAWrittenStream) {
    ASSERT_EQ(Open(kPlain), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(Write("PLAIN"), result::kOk);
    const bool grows_only = tests::TheStore().streams_restart_only;
    EXPECT_EQ(vek::Failed(stream_->SetSize(8)), grows_only);
    EXPECT_EQ(stream_->Commit(), result::kOk);
    mail_.reset();
    one_.reset();
    EXPECT_EQ(Saved(tag::kBodyA), "plain text") << "the stream still has the message";
    Close();
    EXPECT_EQ(Saved(tag::kBodyA), grows_only ? "PLAIN text" : "PLAIN te");

    ASSERT_EQ(Open(kRich), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(vek::Failed(stream_->SetSize(0)), tests::TheStore().rtf_in_sequence);
    stream_.reset();
    ASSERT_EQ(OpenStream(kReadWrite, open_mode::kCreate), result::kOk);
    EXPECT_EQ(Write("{\\rtf1 New}"), result::kOk);
    EXPECT_EQ(stream_->Commit(), result::kOk);
    Close();
    const std::string saved = Saved(tag::kRtfCompressed);
    EXPECT_EQ(sandbox::outlook::UncompressRtf(std::as_bytes(std::span(saved))), "{\\rtf1 New}");

    ASSERT_EQ(Open(kPlain), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(Write(""), result::kOk);
    Close();
    EXPECT_EQ(mapi_.save_flags().size(), 3u) << "nothing written is a change too";
}

TEST_F(BodiesTest, ProtectedMessagesAreReadAndDeletedButNotWritten) {
    Set(tag::kMessageClassA, "IPM.Note.Smime");
    ASSERT_EQ(Open(kPlain), result::kOk);
    for (const std::uint32_t access : {kReadWrite, std::uint32_t{access_mode::kWrite}})
        EXPECT_EQ(OpenStream(access), result::kNotSupported);
    EXPECT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(vek::Failed(one_->Delete()), tests::TheStore().guards_streams) << "a stream is held";
    stream_.reset();
    one_->Delete();
    EXPECT_EQ(Saved(tag::kBodyA), "(none)") << "saved at once";
}

ULONG wrap_flags;

TEST_F(BodiesTest, RichOnesAreWrappedWithTheFlagsOfTheRequest) {
    auto functions = std::make_shared<mapi::MapiFunctions>(*functions_);
    functions->wrap_compressed_rtf_stream = [](IStream* compressed, ULONG flags, IStream** plain) {
        wrap_flags = flags;
        *plain = vek::RefPtr<IStream>::Share(compressed).detach();
        return HRESULT{S_OK};
    };
    functions_ = functions;
    ASSERT_EQ(Open(kRich), result::kOk);
    for (const auto& [access, mode, flags] : {std::array{kRead, 0u, 0u},
                                              {std::uint32_t{access_mode::kWrite}, 0u, 1u},
                                              {kReadWrite, open_mode::kCreate, 3u}}) {
        EXPECT_EQ(OpenStream(access, mode), result::kOk);
        EXPECT_EQ(wrap_flags, flags);
    }
}

TEST_F(BodiesTest, UnreadableOnesAreNotFound) {
    auto damaged = sandbox::outlook::CompressRtf(kText);
    damaged.back() ^= std::byte{1};
    SetRich(damaged);
    EXPECT_EQ(Open(kRich), result::kNotFound);
    EXPECT_EQ(tracer_->Count("HRESULT=0x8004011b"), 1u) << "MAPI_E_CORRUPT_DATA is traced";
    Erase(tag::kRtfCompressed);
    EXPECT_EQ(Open(kRich), result::kNotFound);
    EXPECT_EQ(mail_->GetHtmlBody(one_.put()), result::kNotFound);
    EXPECT_FALSE(one_);
    one_ = vek::MakeObject<StreamPropertyProvider>(
        owner_, tracer_, functions_,
        std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_), functions_, tracer_,
                                             clock_),
        tag::kSubjectW);
    EXPECT_EQ(TextOf(one_, &IPropertyProvider::GetName), "0x80000180") << "no body's tag";
}

constexpr const char* kRule = "\r\n---------------------\r\n";

class NoticeTest : public ContentFixture {
protected:
    std::uint32_t Append() {
        std::uint32_t outcome = 7;
        OpenMail();
        EXPECT_EQ(mail_->AppendNotice("Beware", outcome), result::kOk);
        Close();
        return outcome;
    }
};

TEST_F(NoticeTest, GoesOnlyWhereItBreaksNothing) {
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
        EXPECT_EQ(Append(), each.outcome) << (each.headers ? each.headers : each.message_class);
        const bool inserted = each.outcome == 0;
        EXPECT_EQ(Saved(tag::kBodyA), inserted ? std::string("plain") + kRule + "Beware" : "plain");
        EXPECT_EQ(Saved(tag::kBodyHtmlA),
                  inserted ? "<HTML>x<br>\r\n---------------------\r\n<br>\r\nBeware</HTML>"
                           : "<HTML>x</HTML>");
    }
}

TEST_F(NoticeTest, GoesInOnceNearTheEndOfBodiesOfAnySize) {
    EXPECT_EQ(NoticeChunkSize(4096), 4096u);
    EXPECT_EQ(NoticeChunkSize(8192), 4046u);
    EXPECT_EQ(NoticeChunkSize(std::uint64_t{1} << 32), 4096u) << "no division by zero";
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    const std::string notice(79, '!'), inserted = std::string("<br>") + kRule + "<br>\r\n" + notice;
    // A size, and how much of the HTML body is behind its end tag.
    const std::pair<std::size_t, std::size_t> cases[] = {
        {1, 0},     {4095, 0},  {4096, 4000}, {4097, 0},    {8118, 92},
        {8191, 50}, {8192, 91}, {12'300, 9},  {70'000, 80}, {400'000, 0}};
    for (const auto& [size, behind] : cases) {
        // A notice that is quoted further up does not count.
        const std::string body =
            size > 5000 ? notice + std::string(size - 79, 'x') : std::string(size, 'x');
        const std::string tail = "</HTML>" + std::string(behind, 'y');
        const std::string html = body.substr(0, body.size() - std::min(size, tail.size()));
        Set(tag::kBodyA, body);
        Set(tag::kBodyHtmlA, html + tail);
        OpenMail();
        // The kept stream of a body that was read stands at its end.
        ASSERT_EQ(mail_->GetHtmlBody(one_.put()), result::kOk);
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        Read(100'000);
        stream_.reset();
        std::uint32_t outcome = 0;
        for (int i = 0; i < 2; ++i) EXPECT_EQ(mail_->AppendNotice(notice, outcome), result::kOk);
        Close();
        EXPECT_TRUE(Saved(tag::kBodyA) == std::string(body).append(kRule).append(notice)) << size;
        EXPECT_TRUE(Saved(tag::kBodyHtmlA) == std::string(html).append(inserted).append(tail))
            << size;
    }
}

TEST_F(NoticeTest, AStreamThatLiesAboutItsSizeLosesNoText) {
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    const std::string body(10'000, 'x');
    Set(tag::kBodyHtmlA, body);
    for (const std::uint64_t size : {1u, 5000u, 10'001u, 20'000u}) {
        mapi_.distortion().stream_size = [size](std::uint64_t& shown) { shown = size; };
        Append();
        EXPECT_TRUE(Saved(tag::kBodyHtmlA) == body) << size;
    }
}

TEST_F(NoticeTest, NothingStandsBehindTheReplacedBody) {
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    Set(tag::kBodyHtmlA, std::string(100, 'x'));
    // Only the write stream reaches all the text that the store has.
    mapi_.distortion().stream_size = [](std::uint64_t& shown) { shown = 5; };
    mapi_.distortion().stream_read = [read = 0](std::span<std::byte>) mutable {
        return std::optional<ULONG>(read++ == 0 ? 5 : 0);
    };
    Append();
    // Where characters may get lost, a body that cannot be known before stays.
    const bool known = vek::platform::HasEverything(tests::TheStore().code_page);
    EXPECT_EQ(Saved(tag::kBodyHtmlA).substr(5),
              known ? std::string("<br>") + kRule + "<br>\r\nBeware" : std::string(95, 'x'));
}

TEST_F(NoticeTest, GoesInOnlyWhereNoCharacterIsLost) {
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    const struct {
        std::string text;
        std::vector<unsigned> pages;  // that have it
    } table[] = {{"plain?", {1252, 932}},
                 {"\u00E9\u20AC", {1252}},
                 {"\u65E5\uFF21", {932}},
                 {"A\u0100", {}},  // a page may have a letter that looks like it
                 {std::string(70'000, 'x') + "\U0001F600", {}}};
    for (const auto& [text, pages] : table) {
        const unsigned page = tests::TheStore().code_page;
        const bool written =
            vek::platform::HasEverything(page) || std::ranges::count(pages, page) != 0;
        tracer_ = std::make_shared<tests::RecordingTracer>();
        for (const ULONG body : {tag::kBodyA, tag::kBodyHtmlA, tag::kTransportMessageHeadersA})
            Set(body, text.substr(text.size() > 4096 ? 69'900 : 0));
        Set(tag::kBodyA, text);
        Append();
        EXPECT_EQ(Saved(tag::kBodyA) == text, !written) << text.substr(0, 20);
        EXPECT_EQ(Saved(tag::kBodyHtmlA).find("Beware") == std::string::npos, !written);
        EXPECT_EQ(tracer_->Count("may lack some of its characters"), written ? 0u : 1u);
        OpenMail();
        EXPECT_EQ(mail_->AddHeader("X: 1"), written ? result::kOk : result::kNotSupported);
        EXPECT_EQ(mail_->SetHeader("X: 2"), written ? result::kOk : result::kNotSupported);
        Close();
        EXPECT_EQ(Saved(tag::kTransportMessageHeadersA).find("X: 2") == std::string::npos,
                  !written);
    }
}

// Most streams cannot revert: whoever opens the body for writing next would commit the half written
// bytes with his own.
TEST_F(NoticeTest, LeavesNoHalfWrittenStreamToOthersWhenItFails) {
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    Set(tag::kBodyHtmlA, "<html>");
    const auto accessor = std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_),
                                                               functions_, tracer_, clock_);
    mapi_.faults().FailNth(sandbox::outlook::Call::kStreamCommit, 1, E_FAIL);
    EXPECT_ANY_THROW(InsertNotice(*functions_, *accessor, tag::kBodyHtmlA, "Beware", tracer_));
    const auto stream = accessor->GetStreamProperty(tag::kBodyHtmlA, kReadWrite, 0);
    EXPECT_EQ(stream->Size(), 6u);
}

}  // namespace
}  // namespace plugins::mail_processing
