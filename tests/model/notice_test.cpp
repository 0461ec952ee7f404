#include "model/notice.h"

#include "mapi/mapi_streams.h"
#include "tests/support/content_fixture.h"

namespace plugins::mail_processing {
namespace {

namespace result = vek::result;
namespace tag = mapi::tag;

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
    for (const std::size_t size : {1u, 4095u, 4096u, 4097u, 8191u, 8192u, 70'000u}) {
        const std::string body(size, 'x');
        Set(tag::kBodyA, body);
        Set(tag::kBodyHtmlA, "<p>" + body);
        OpenMail();
        // The kept stream of a body that was read stands at its end.
        ASSERT_EQ(mail_->GetHtmlBody(one_.put()), result::kOk);
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        Read(100'000);
        std::uint32_t outcome = 0;
        for (int i = 0; i < 2; ++i) EXPECT_EQ(mail_->AppendNotice("Beware", outcome), result::kOk);
        Close();
        EXPECT_EQ(Saved(tag::kBodyA), body + kRule + "Beware") << size;
        EXPECT_EQ(Saved(tag::kBodyHtmlA), "<p>" + body + "<br>" + kRule + "<br>\r\nBeware") << size;
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
    EXPECT_EQ(Saved(tag::kBodyHtmlA).substr(5), std::string("<br>") + kRule + "<br>\r\nBeware");
}

// Most streams cannot revert: whoever opens the body for writing next would commit the half written
// bytes with his own.
TEST_F(NoticeTest, LeavesNoHalfWrittenStreamToOthersWhenItFails) {
    Set(tag::kMessageClassA, "IPM.Note.SMIME");
    Set(tag::kBodyHtmlA, "<html>");
    const auto accessor = std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_),
                                                               functions_, tracer_, clock_);
    mapi_.faults().FailNth(sandbox::outlook::Call::kStreamCommit, 1, E_FAIL);
    EXPECT_ANY_THROW(InsertNotice(functions_->ole, *accessor, tag::kBodyHtmlA, "Beware"));
    const auto stream = accessor->GetStreamProperty(tag::kBodyHtmlA, kReadWrite, 0);
    EXPECT_EQ(mapi::Size(*stream), 6u);
}

}  // namespace
}  // namespace plugins::mail_processing
