// Bodies as streams: plain text and HTML as they are, the rich body as plain RTF.

#include "model/stream_property_provider.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/content_fixture.h"

namespace plugins::mail_processing {
namespace {

using vek::result_t;
namespace tag = mapi::tag;
namespace result = vek::result;

constexpr const char* kText = "{\\rtf1\\ansi\\deff0 Some rich text.\\par}";

class BodiesTest : public ContentFixture {
protected:
    BodiesTest() { SetRich(sandbox::outlook::CompressRtf(kText)); }

    void SetRich(std::span<const std::byte> bytes) {
        Set(tag::kRtfCompressed, sandbox::outlook::PropertyValue::Binary(
                                     {reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
    }
    result_t OpenPlain() {
        OpenMail();
        return mail_->GetPlainBody(one_.put());
    }
    result_t OpenRich() {
        OpenMail();
        return mail_->GetRichBody(one_.put());
    }
};

TEST_F(BodiesTest, AreReadFromAnyPlace) {
    ASSERT_EQ(OpenPlain(), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    std::uint64_t position = 0;
    EXPECT_EQ(stream_->Seek(-4, SeekOrigin::kEnd, position), result::kOk);
    EXPECT_EQ(position, 6u);
    EXPECT_EQ(Read(), "text");
    EXPECT_TRUE(vek::Failed(Write("x")));

    ASSERT_EQ(OpenRich(), result::kOk);
    EXPECT_EQ(TextOf(one_, &IPropertyProvider::GetName), "RichBody");
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        EXPECT_EQ(stream_->GetSize(position), result::kOk);
        EXPECT_EQ(position, std::string_view(kText).size());
        EXPECT_EQ(Read(), kText) << "each time";
    }
    EXPECT_EQ(tracer_->Count("700 Start uncompress RTF"), 3u) << "the first is the probe";
    EXPECT_EQ(tracer_->Count("700 End uncompress RTF"), 3u);
}

TEST_F(BodiesTest, AreSavedWithTheLastUserOfAWrittenStream) {
    ASSERT_EQ(OpenPlain(), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(Write("PLAIN"), result::kOk);
    EXPECT_EQ(stream_->SetSize(8), result::kOk);
    EXPECT_EQ(stream_->Commit(), result::kOk);
    mail_.reset();
    one_.reset();
    EXPECT_EQ(Saved(tag::kBodyA), "plain text") << "the stream still has the message";
    Close();
    EXPECT_EQ(Saved(tag::kBodyA), "PLAIN te");

    ASSERT_EQ(OpenRich(), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(stream_->SetSize(0), result::kOk);
    EXPECT_EQ(Write("{\\rtf1 New}"), result::kOk);
    EXPECT_EQ(tracer_->Count("700 bytes written: 11"), 1u);
    EXPECT_EQ(stream_->Commit(), result::kOk);
    Close();
    const std::string saved = Saved(tag::kRtfCompressed);
    EXPECT_EQ(sandbox::outlook::UncompressRtf(std::as_bytes(std::span(saved))), "{\\rtf1 New}");

    ASSERT_EQ(OpenPlain(), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(Write(""), result::kOk);
    Close();
    EXPECT_EQ(mapi_.save_flags().size(), 3u) << "nothing written is a change too";
}

TEST_F(BodiesTest, ProtectedMessagesAreReadAndDeletedButNotWritten) {
    Set(tag::kMessageClassA, "IPM.Note.Smime");
    ASSERT_EQ(OpenPlain(), result::kOk);
    for (const std::uint32_t access : {kReadWrite, std::uint32_t{access_mode::kWrite}})
        EXPECT_EQ(OpenStream(access), result::kNotSupported);
    EXPECT_EQ(
        tracer_->Count("700 Write request blocked, because the message is encrypted or signed"),
        2u);
    EXPECT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(one_->Delete(), result::kOk);
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
    ASSERT_EQ(OpenRich(), result::kOk);
    const std::array<std::uint32_t, 3> requests[] = {// access, mode, flags
                                                     {kRead, 0, 0},
                                                     {access_mode::kWrite, 0, 1},
                                                     {kReadWrite, open_mode::kCreate, 3}};
    for (const auto& [access, mode, flags] : requests) {
        EXPECT_EQ(OpenStream(access, mode), result::kOk);
        EXPECT_EQ(wrap_flags, flags);
    }
}

TEST_F(BodiesTest, UnreadableOnesAreNotFound) {
    auto damaged = sandbox::outlook::CompressRtf(kText);
    damaged.back() ^= std::byte{1};
    SetRich(damaged);
    EXPECT_EQ(OpenRich(), result::kNotFound);
    EXPECT_EQ(tracer_->Count("HRESULT=0x8004011b"), 1u) << "MAPI_E_CORRUPT_DATA is traced";
    Erase(tag::kRtfCompressed);
    EXPECT_EQ(OpenRich(), result::kNotFound);
    EXPECT_EQ(mail_->GetHtmlBody(one_.put()), result::kNotFound);
    EXPECT_FALSE(one_);
    one_ = vek::MakeObject<StreamPropertyProvider>(
        owner_, tracer_, functions_,
        std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_), functions_, tracer_,
                                             clock_),
        tag::kSubjectW);
    EXPECT_EQ(TextOf(one_, &IPropertyProvider::GetName), "0x80000180") << "no body's tag";
}

}  // namespace
}  // namespace plugins::mail_processing
