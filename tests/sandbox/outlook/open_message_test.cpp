#include "tests/sandbox/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class OpenMessageTest : public MapiTest {
protected:
    std::string SavedSubject() {
        const PropertyValue* const value = mapi.store().Find(id)->properties.Find(tag::kSubjectW);
        return value != nullptr ? *value->content() : "(none)";
    }

    const std::string id = mapi.store().Add(Message("old"));
};

TEST_F(OpenMessageTest, ChangesReachTheStoreOnlyWhenSaved) {
    auto message = mapi.OpenMessage(id);
    ASSERT_EQ(WriteText(message.get(), tag::kSubjectA, "new"), S_OK);
    EXPECT_EQ(ReadText(message.get(), tag::kSubjectA), "new");
    EXPECT_EQ(SavedSubject(), "old");
    message.reset();
    EXPECT_EQ(SavedSubject(), "old") << "released without saving";

    message = mapi.OpenMessage(id);
    ASSERT_EQ(WriteText(message.get(), tag::kSubjectA, "new"), S_OK);
    ASSERT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE | FORCE_SAVE), S_OK);
    EXPECT_EQ(SavedSubject(), "new");
    ASSERT_EQ(Delete(message.get(), tag::kSubjectA), S_OK);
    EXPECT_EQ(Read(message.get(), tag::kSubjectW), std::nullopt);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(SavedSubject(), "(none)");
    EXPECT_EQ(mapi.save_flags(), (std::vector<ULONG>{6, 0}));
}

TEST_F(OpenMessageTest, EveryTypeComesBackAsItWasSet) {
    auto message = mapi.OpenMessage(id);
    const std::pair<ULONG, PropertyValue> values[] = {
        {PROP_TAG(PT_LONG, 0x6000), PropertyValue::Long(-5)},
        {PROP_TAG(PT_CURRENCY, 0x6001), PropertyValue::Currency(-1234567890123)},
        {PROP_TAG(PT_BOOLEAN, 0x6002), PropertyValue::Boolean(true)},
        {tag::kClientSubmitTime, PropertyValue::Time(133541092220000000)},
        {tag::kSenderEntryId, PropertyValue::Binary(std::string("a\0b", 3))},
        {tag::kRtfCompressed, PropertyValue::Binary("")},
    };
    MessageRecord record;
    for (const auto& [kept, value] : values) record.properties.Set(kept, value);
    mapi.store().Put("source", record);
    auto source = mapi.OpenMessage("source");

    ULONG count = 0;
    SPropValue* all = nullptr;
    ASSERT_EQ(source->GetProps(nullptr, 0, &count, &all), S_OK);
    ASSERT_EQ(count, std::size(values) + 2) << "and the two computed ones";
    SPropProblemArray* problems = nullptr;
    ASSERT_EQ(message->SetProps(count, all, &problems), S_OK);
    ASSERT_NE(problems, nullptr);
    EXPECT_EQ(problems->cProblem, 2u);
    EXPECT_EQ(problems->aProblem[0].scode, MAPI_E_COMPUTED);
    functions.free_buffer(problems);
    functions.free_buffer(all);
    for (const auto& [kept, value] : values) EXPECT_EQ(Read(message.get(), kept), value);
}

TEST_F(OpenMessageTest, AnotherSaveIsOverwrittenByForceAlone) {
    auto first = mapi.OpenMessage(id);
    auto second = mapi.OpenMessage(id);
    ASSERT_EQ(WriteText(first.get(), tag::kSubjectA, "first"), S_OK);
    ASSERT_EQ(first->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(ReadText(second.get(), tag::kSubjectA), "old");
    EXPECT_EQ(second->SaveChanges(KEEP_OPEN_READWRITE), MAPI_E_OBJECT_CHANGED);
    EXPECT_EQ(SavedSubject(), "first");
    EXPECT_EQ(second->SaveChanges(KEEP_OPEN_READWRITE | FORCE_SAVE), S_OK);
    EXPECT_EQ(SavedSubject(), "old");
    ASSERT_TRUE(mapi.store().Remove(id));
    EXPECT_EQ(second->SaveChanges(KEEP_OPEN_READWRITE | FORCE_SAVE), MAPI_E_OBJECT_DELETED);
}

}  // namespace
}  // namespace sandbox::outlook
