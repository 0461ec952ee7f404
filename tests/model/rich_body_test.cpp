#include <functional>

#include "model/stream_property_provider.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/content_fixture.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using vek::result_t;
namespace tag = mapi::tag;
namespace result = vek::result;

constexpr const char* kText = "{\\rtf1\\ansi\\deff0 Some rich text.\\par}";

class RichBodyTest : public ContentFixture {
protected:
    RichBodyTest() { SetBody(sandbox::outlook::CompressRtf(kText)); }

    void SetBody(std::span<const std::byte> bytes) {
        const std::string content(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        Edit([&](auto& record) {
            record.properties.Set(tag::kRtfCompressed,
                                  sandbox::outlook::PropertyValue::Binary(content));
        });
    }
    std::string SavedText() const {
        const std::string bytes = Saved(tag::kRtfCompressed);
        return sandbox::outlook::UncompressRtf(std::as_bytes(std::span(bytes)));
    }

    result_t Open() {
        OpenMail();
        return mail_->GetRichBody(one_.put());
    }
};

TEST_F(RichBodyTest, IsReadAsPlainRtf) {
    ASSERT_EQ(Open(), result::kOk);
    std::string text;
    EXPECT_EQ(one_->GetName(text), result::kOk);
    EXPECT_EQ(text, "RichBody");
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        std::uint64_t size = 0;
        EXPECT_EQ(stream_->GetSize(size), result::kOk);
        ASSERT_EQ(size, std::string_view(kText).size());
        EXPECT_EQ(Read(), kText) << "each time";
    }
    EXPECT_EQ(tracer_->Count("700 Start uncompress RTF"), 3u) << "the first is the probe";
    EXPECT_EQ(tracer_->Count("700 End uncompress RTF"), 3u);
}

TEST_F(RichBodyTest, WhatIsWrittenGoesBackCompressed) {
    ASSERT_EQ(Open(), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(stream_->SetSize(0), result::kOk);
    EXPECT_EQ(Write("{\\rtf1 New}"), result::kOk);
    EXPECT_EQ(tracer_->Count("700 bytes written: 11"), 1u);
    EXPECT_EQ(stream_->Commit(), result::kOk);
    EXPECT_EQ(SavedText(), kText);
    Close();
    EXPECT_EQ(SavedText(), "{\\rtf1 New}");

    const std::size_t saves = mapi_.save_flags().size();
    ASSERT_EQ(Open(), result::kOk);
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(Write(""), result::kOk);
    Close();
    EXPECT_EQ(mapi_.save_flags().size(), saves + 1) << "nothing written is a change too";
}

std::vector<ULONG> wrap_flags;

HRESULT WINAPI Wrap(IStream* compressed, ULONG flags, IStream** plain) {
    wrap_flags.push_back(flags);
    *plain = vek::RefPtr<IStream>::Share(compressed).detach();
    return S_OK;
}

TEST_F(RichBodyTest, WrapsWithTheFlagsOfTheRequest) {
    auto functions = std::make_shared<mapi::MapiFunctions>(*functions_);
    functions->wrap_compressed_rtf_stream = &Wrap;
    functions_ = functions;
    wrap_flags.clear();
    ASSERT_EQ(Open(), result::kOk);
    const struct {
        std::uint32_t access, mode;
        ULONG flags;
    } cases[] = {{kRead, 0, 0},
                 {kRead, open_mode::kProbe, 0},
                 {access_mode::kWrite, 0, 1},
                 {kReadWrite, 0, 1},
                 {kReadWrite, open_mode::kCreate, 3},
                 {kReadWrite, open_mode::kCreate | open_mode::kProbe, 3}};
    std::vector<ULONG> expected{0};
    for (const auto& each : cases) {
        EXPECT_EQ(OpenStream(each.access, each.mode), result::kOk);
        expected.push_back(each.flags);
    }
    EXPECT_EQ(wrap_flags, expected);
}

TEST_F(RichBodyTest, AnUnreadableBodyIsNone) {
    auto damaged = sandbox::outlook::CompressRtf(kText);
    damaged.back() ^= std::byte{1};
    const struct {
        const char* what;
        std::function<void()> change;
    } cases[] = {
        {"damaged", [&] { SetBody(damaged); }},
        {"cut", [&] { SetBody(std::span(damaged).first(10)); }},
        {"missing", [&] { Erase(tag::kRtfCompressed); }},
    };
    for (const auto& each : cases) {
        each.change();
        EXPECT_EQ(Open(), result::kNotFound) << each.what;
        EXPECT_FALSE(one_);
    }
    EXPECT_EQ(tracer_->Count("HRESULT=0x8004011b"), 2u) << "MAPI_E_CORRUPT_DATA is traced";
    EXPECT_EQ(tracer_->Count("700 End uncompress RTF"), 0u);
}

TEST_F(RichBodyTest, OtherTagsHaveNoName) {
    auto accessor = std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_), functions_,
                                                         tracer_, clock_);
    one_ = vek::MakeObject<StreamPropertyProvider>(owner_, tracer_, functions_, accessor,
                                                   tag::kSubjectW);
    std::string name;
    EXPECT_EQ(one_->GetName(name), result::kPropertyNotFound);
}

}  // namespace
}  // namespace plugins::mail_processing
