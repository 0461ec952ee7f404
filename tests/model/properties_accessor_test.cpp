#include "model/properties_accessor.h"

#include "internal/helpers/hresult_exception.h"
#include "private_include/common/mail_message.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using ::testing::ElementsAre;
namespace tag = mapi::tag;

class PropertiesAccessorTest : public tests::MailFixture {
protected:
    void Open() {
        accessor_ = std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_), functions_,
                                                         tracer_, clock_);
    }

    template <class Call>
    std::uint32_t CodeOf(const Call& call) {
        try {
            call();
            return 0;
        } catch (const vek::Exception& exception) {
            return dynamic_cast<const vek::CodeCarrier&>(exception).code();
        }
    }

    std::shared_ptr<PropertiesAccessor> accessor_;
};

TEST_F(PropertiesAccessorTest, ReadsEachTypeOnceAndRemembersWhatIsMissing) {
    Edit([](auto& record) {
        using sandbox::outlook::PropertyValue;
        record.properties.Set(0x0C190102, PropertyValue::Binary(std::string("\1\0\2", 3)));
        record.properties.Set(0x30080006, PropertyValue::Currency(-5'000'000'000));
        record.properties.Set(0x0E060003, PropertyValue::Long(-7));
        record.properties.Set(0x0E1F000B, PropertyValue::Boolean(true));
    });
    Open();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(accessor_->GetProperty<std::string>(tag::kSubjectA), "Hello");
        EXPECT_EQ(accessor_->GetProperty<std::u16string>(tag::kSubjectW), u"Hello");
        EXPECT_EQ(accessor_->GetProperty<std::int32_t>(0x0E060003), -7);
        EXPECT_EQ(accessor_->GetProperty<std::int64_t>(0x30080006), -5'000'000'000);
        EXPECT_EQ(accessor_->GetProperty<bool>(0x0E1F000B), true);
        EXPECT_EQ(accessor_->GetProperty<std::string>(tag::kClientSubmitTime),
                  "2024/03/05 09:07:02");
        EXPECT_EQ(accessor_->GetProperty<std::vector<std::byte>>(tag::kSenderEntryId).size(), 3u);
        EXPECT_EQ(accessor_->TryGetProperty<std::string>(tag::kDisplayToA), nullptr);
        EXPECT_EQ(CodeOf([&] { accessor_->GetProperty<std::string>(tag::kDisplayToA); }),
                  vek::result::kNotFound);
        EXPECT_EQ(CodeOf([&] { accessor_->TryGetProperty<bool>(tag::kSubjectA); }),
                  vek::result::kInvalidType);
    }
    EXPECT_EQ(Calls(outlook_call::kGetProps), 8u);
    EXPECT_EQ(tracer_->Count("700 Get property 0x0037001e"), 1u);
    EXPECT_EQ(tracer_->Count("700 Property not found for id: 0x0e04001e"), 1u);
}

TEST_F(PropertiesAccessorTest, WritesAndDeletesKeepItsMemoryInStep) {
    Open();
    EXPECT_EQ(accessor_->GetProperty<std::string>(tag::kSubjectA), "Hello");
    accessor_->SetSubject(u"Gr\u00FC\u00DFe");
    EXPECT_EQ(accessor_->GetProperty<std::u16string>(tag::kSubjectW), u"Gr\u00FC\u00DFe");
    EXPECT_EQ(accessor_->GetProperty<std::string>(tag::kSubjectA), "Gr\u00FC\u00DFe");
    accessor_->SetProperty(tag::kSenderNameA, std::string_view("Bob\0by", 6));
    EXPECT_EQ(accessor_->GetProperty<std::string>(tag::kSenderNameA), "Bob");
    accessor_->DeleteProperty(tag::kBodyA);
    const auto calls = Calls(outlook_call::kGetProps);
    EXPECT_EQ(accessor_->TryGetProperty<std::string>(tag::kBodyA), nullptr);
    EXPECT_EQ(Calls(outlook_call::kGetProps), calls);
    // A tag that is not of a narrow text would have MAPI read the text as something else.
    EXPECT_EQ(CodeOf([&] { accessor_->SetProperty(0x0C190102, "x"); }),
              vek::result::kInvalidArgument);

    EXPECT_EQ(Saved(tag::kSubjectW), "Hello") << "before the save";
    accessor_->Save();
    accessor_->Save();
    EXPECT_THAT(mapi_.save_flags(), ElementsAre(6u)) << "nothing left to save the second time";
    accessor_.reset();
    EXPECT_THAT(mapi_.save_flags(), ElementsAre(6u));
    EXPECT_EQ(Saved(tag::kSubjectW), "Gr\u00FC\u00DFe");
    EXPECT_EQ(Saved(tag::kSenderNameA), "Bob");
    EXPECT_EQ(Saved(tag::kBodyA), "(none)");
    for (const char* line :
         {"Set property 0x0037001f value: Gr\u00FC\u00DFe", "Set property 0x0c1a001e value: Bob",
          "Delete property 0x1000001e", "Process property save"}) {
        EXPECT_EQ(tracer_->Count(line), 1u) << line;
    }
}

TEST_F(PropertiesAccessorTest, SavesWithItsEndAndTracesAFailureOfThat) {
    Open();
    accessor_->SetSubject(u"new");
    accessor_.reset();
    EXPECT_EQ(Saved(tag::kSubjectW), "new");

    Open();
    accessor_->SetSubject(u"newer");
    mapi_.faults().FailNth(outlook_call::kSaveChanges, 1, MAPI_E_NO_ACCESS);
    accessor_.reset();
    EXPECT_EQ(Saved(tag::kSubjectW), "new");
    EXPECT_EQ(tracer_->Count("300 Property save failed: HResultCodeException - HRESULT=0x80070005"),
              1u);
}

TEST_F(PropertiesAccessorTest, ASavedChangeMakesAChangeInTheParent) {
    Open();
    {
        PropertiesAccessor child(mapi_.OpenMessage(entry_id_), functions_, tracer_, clock_,
                                 accessor_);
        child.MarkChanged();
    }
    EXPECT_EQ(mapi_.save_flags().size(), 1u);
    accessor_.reset();
    EXPECT_EQ(mapi_.save_flags().size(), 2u);
}

TEST_F(PropertiesAccessorTest, KeepsTheLastStreamForTheSameTagAndModes) {
    const struct {
        std::uint32_t access, mode;
        const char* line;
        bool opens;
    } cases[] = {
        {1, 0, "Get stream property 0x1000001e accessMode: 0x00000000 openMode: 0x00000000", true},
        {1, 4, "Get stream property 0x1000001e accessMode: 0x00000000 openMode: 0x00000000", false},
        {2, 0, "Get stream property 0x1000001e accessMode: 0x00000001 openMode: 0x00000001", true},
        {3, 0, "Get stream property 0x1000001e accessMode: 0x00000002 openMode: 0x00000001", true},
        {3, 2, "Get stream property 0x1000001e accessMode: 0x00000002 openMode: 0x00000003", true},
        {1, 0, "Get stream property 0x1000001e accessMode: 0x00000000 openMode: 0x00000000", true},
    };
    Open();
    std::uint32_t opened = 0;
    vek::RefPtr<IStream> last;
    for (const auto& each : cases) {
        const auto stream = accessor_->GetStreamProperty(tag::kBodyA, each.access, each.mode);
        opened += each.opens;
        EXPECT_EQ(Calls(outlook_call::kOpenProperty), opened) << each.line;
        EXPECT_EQ(stream == last, !each.opens) << each.line;
        EXPECT_EQ(tracer_->lines()[tracer_->lines().size() - (each.opens ? 1 : 2)],
                  std::string("700 ") + each.line);
        last = stream;
    }
    EXPECT_EQ(tracer_->Count("700 Get stream from cache"), 1u);
    accessor_->DeleteProperty(tag::kBodyA);
    EXPECT_EQ(CodeOf([&] { accessor_->GetStreamProperty(tag::kBodyA, 1, 0); }),
              vek::result::kPropertyNotFound);
}

}  // namespace
}  // namespace plugins::mail_processing
