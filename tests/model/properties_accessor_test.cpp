#include "model/properties_accessor.h"

#include "private_include/common/mail_message.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using ::testing::ElementsAre;
namespace tag = mapi::tag;

class PropertiesAccessorTest : public tests::MailFixture {
protected:
    std::shared_ptr<PropertiesAccessor> Open(std::shared_ptr<PropertiesAccessor> parent = nullptr) {
        return std::make_shared<PropertiesAccessor>(mapi_.OpenMessage(entry_id_), functions_,
                                                    tracer_, clock_, std::move(parent));
    }
    static std::uint32_t CodeOf(const std::function<void()>& call) {
        return tests::InlineOwner().Invoke(call);
    }
};

TEST_F(PropertiesAccessorTest, ReadsEachTypeOnceAndRemembersWhatIsMissing) {
    Set(tag::kSenderEntryId, Value::Binary(std::string("\1\0\2", 3)));
    Set(0x30090102, Value::Binary("1"));
    Set(0x30080006, Value::Currency(-5'000'000'000));
    Set(0x0E060003, Value::Long(-7));
    const auto accessor = Open();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(accessor->GetProperty<std::string>(tag::kSubjectA), "Hello");
        EXPECT_EQ(accessor->GetProperty<std::u16string>(tag::kSubjectW), u"Hello");
        EXPECT_EQ(accessor->GetProperty<std::int32_t>(0x0E060003), -7);
        EXPECT_EQ(accessor->GetProperty<std::int64_t>(0x30080006), -5'000'000'000);
        EXPECT_EQ(accessor->GetProperty<bool>(tag::kHasAttach), false);
        EXPECT_EQ(accessor->GetProperty<std::vector<std::byte>>(tag::kSenderEntryId).size(), 3u);
        EXPECT_EQ(accessor->GetProperty<std::vector<std::byte>>(0x30090102).size(), 1u);
        EXPECT_EQ(accessor->TryGetProperty<std::string>(tag::kDisplayToA), nullptr);
        EXPECT_EQ(CodeOf([&] { accessor->GetProperty<std::string>(tag::kDisplayToA); }),
                  vek::result::kNotFound);
        EXPECT_EQ(CodeOf([&] { accessor->TryGetProperty<bool>(tag::kSubjectA); }),
                  vek::result::kInvalidType);
    }
    EXPECT_EQ(Calls(outlook_call::kGetProps), 8u);
}

TEST_F(PropertiesAccessorTest, KeepsItsMemoryInStepAndSavesOnce) {
    auto accessor = Open();
    EXPECT_EQ(accessor->GetProperty<std::string>(tag::kSubjectA), "Hello");
    accessor->SetSubject(u"Gr\u00FC\u00DFe");
    EXPECT_EQ(accessor->GetProperty<std::u16string>(tag::kSubjectW), u"Gr\u00FC\u00DFe");
    EXPECT_EQ(accessor->GetProperty<std::string>(tag::kSubjectA), Narrow("Gr\u00FC\u00DFe"));
    EXPECT_EQ(accessor->GetProperty<std::string>(tag::kSenderNameA), "Ann");
    accessor->SetProperty(tag::kSenderNameA, std::string_view("Bob\0by", 6));
    accessor->DeleteProperty(tag::kBodyA);
    const auto calls = Calls(outlook_call::kGetProps);
    EXPECT_EQ(accessor->GetProperty<std::string>(tag::kSenderNameA), "Bob");
    EXPECT_EQ(accessor->TryGetProperty<std::string>(tag::kBodyA), nullptr);
    EXPECT_EQ(Calls(outlook_call::kGetProps), calls);
    EXPECT_EQ(CodeOf([&] { accessor->GetStreamProperty(tag::kBodyA, 1, 0); }),
              vek::result::kPropertyNotFound);
    EXPECT_EQ(CodeOf([&] { accessor->SetProperty(tag::kSenderEntryId, "x"); }),
              vek::result::kInvalidArgument);
    EXPECT_EQ(Saved(tag::kSubjectW), "Hello") << "before the save";
    accessor->Save();
    accessor.reset();
    EXPECT_THAT(mapi_.save_flags(), ElementsAre(6u)) << "nothing left to save the second time";
    EXPECT_EQ(Saved(tag::kSubjectW) + Saved(tag::kSenderNameA) + Saved(tag::kBodyA),
              "Gr\u00FC\u00DFeBob(none)");
}

TEST_F(PropertiesAccessorTest, SavesWithItsEndAndTracesAFailureOfThat) {
    Open()->SetSubject(u"new");
    EXPECT_EQ(Saved(tag::kSubjectW), "new");
    mapi_.faults().FailNth(outlook_call::kSaveChanges, 1, MAPI_E_NO_ACCESS);
    Open()->SetSubject(u"newer");
    EXPECT_EQ(Saved(tag::kSubjectW), "new");
    EXPECT_EQ(tracer_->Count("300 Property save failed: HResultCodeException - HRESULT=0x80070005"),
              1u);
    auto parent = Open();
    Open(parent)->MarkChanged();
    EXPECT_EQ(mapi_.save_flags().size(), 2u);
    parent.reset();
    EXPECT_EQ(mapi_.save_flags().size(), 3u) << "a saved change makes one in the parent";
}

TEST_F(PropertiesAccessorTest, GivesTheSameStreamForTheSameTagAndModes) {
    const auto accessor = Open();
    const auto open = [&](std::uint32_t access, std::uint32_t mode) {
        return accessor->GetStreamProperty(tag::kBodyA, access, mode);
    };
    const SharedStream* const kept = open(1, 0).get();
    auto reader = open(1, 4);
    EXPECT_EQ(reader.get(), kept);
    EXPECT_EQ(tracer_->Count("700 Get stream property 0x1000001e accessMode: 0x00000000 openMode: "
                             "0x00000000"),
              2u);
    accessor->GetStreamProperty(tag::kSubjectW, 1, 0);  // takes the kept one's place
    EXPECT_EQ(open(1, 0), reader) << "a store need not give it a second time";
    EXPECT_EQ(Calls(outlook_call::kOpenProperty), 2u);
    reader.reset();
    EXPECT_NE(open(3, 2), nullptr);
    EXPECT_EQ(tracer_->Count("accessMode: 0x00000002 openMode: 0x00000003"), 1u);
}

}  // namespace
}  // namespace plugins::mail_processing
