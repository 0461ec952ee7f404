#include "tests/sandbox/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class AttachmentTest : public MapiTest {
protected:
    static MessageRecord Mail() {
        MessageRecord message = Message("with attachments");
        message.AddAttachment(Attachment("a", "content", ATTACH_BY_VALUE));
        message.AddAttachment(Attachment("b", "object", ATTACH_OLE));
        AttachmentRecord& embedded =
            message.AddAttachment(Attachment("c", "", ATTACH_EMBEDDED_MSG));
        embedded.message = std::make_shared<const MessageRecord>(Message("inside"));
        message.AddAttachment(Attachment("d", "bytes", ATTACH_OLE)).binary_only = true;
        message.AddAttachment(Attachment("e", "", ATTACH_OLE)).storage =
            DecodeStorage(std::string_view("STG1\0", 5));
        return message;
    }

    static vek::RefPtr<IAttach> Open(IMessage* message, ULONG number, HRESULT expected = S_OK) {
        vek::RefPtr<IAttach> attachment;
        EXPECT_EQ(message->OpenAttach(number, nullptr, MAPI_BEST_ACCESS, attachment.put()),
                  expected);
        return attachment;
    }

    std::string SavedName(std::size_t index) {
        const auto saved = mapi.store().Find(id);
        return *saved->attachments.at(index).properties.Find(tag::kDisplayNameW)->content();
    }

    const std::string id = mapi.store().Add(Mail());
};

TEST_F(AttachmentTest, AChangeNeedsTwoSavesToReachTheStore) {
    auto message = mapi.OpenMessage(id);
    auto attachment = Open(message.get(), 0);
    ASSERT_EQ(WriteText(attachment.get(), tag::kDisplayNameA, "new"), S_OK);
    EXPECT_EQ(ReadText(Open(message.get(), 0).get(), tag::kDisplayNameA), "a");
    ASSERT_EQ(attachment->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(ReadText(Open(message.get(), 0).get(), tag::kDisplayNameA), "new");
    EXPECT_EQ(SavedName(0), "a");
    ASSERT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(SavedName(0), "new");
}

TEST_F(AttachmentTest, NumbersAndSizesAreComputed) {
    auto message = mapi.OpenMessage(id);
    auto attachment = Open(message.get(), 0);
    EXPECT_EQ(Read(attachment.get(), tag::kAttachNum), PropertyValue::Long(0));
    EXPECT_EQ(Read(attachment.get(), tag::kAttachSize), PropertyValue::Long(8 + 1 + 7));
    EXPECT_EQ(Read(Open(message.get(), 2).get(), tag::kAttachSize), PropertyValue::Long(8 + 1 + 6));
    SPropValue value{};
    value.ulPropTag = tag::kAttachNum;
    SPropProblemArray* problems = nullptr;
    ASSERT_EQ(attachment->SetProps(1, &value, &problems), S_OK);
    EXPECT_EQ(TakeProblem(problems), MAPI_E_COMPUTED);
}

TEST_F(AttachmentTest, NumbersAreNeverUsedAgain) {
    auto message = mapi.OpenMessage(id);
    auto late = Open(message.get(), 2);
    for (ULONG number : {0u, 1u, 2u, 3u, 4u})
        ASSERT_EQ(message->DeleteAttach(number, 0, nullptr, 0), S_OK);
    EXPECT_EQ(Read(message.get(), tag::kHasAttach), PropertyValue::Boolean(false));
    EXPECT_EQ(message->DeleteAttach(2, 0, nullptr, 0), MAPI_E_NOT_FOUND);
    Open(message.get(), 2, MAPI_E_NOT_FOUND);
    EXPECT_EQ(late->SaveChanges(0), MAPI_E_OBJECT_DELETED);

    ULONG number = 0;
    vek::RefPtr<IAttach> created;
    ASSERT_EQ(message->CreateAttach(nullptr, 0, &number, created.put()), S_OK);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(Read(message.get(), tag::kHasAttach), PropertyValue::Boolean(false));
    ASSERT_EQ(WriteText(created.get(), tag::kDisplayNameA, "d"), S_OK);
    ASSERT_EQ(created->SaveChanges(0), S_OK);
    EXPECT_EQ(Read(message.get(), tag::kHasAttach), PropertyValue::Boolean(true));
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(SavedName(0), "d");
}

TEST_F(AttachmentTest, AnObjectOpensAsItsRecordSays) {
    constexpr HRESULT kNone = MAPI_E_INTERFACE_NOT_SUPPORTED;
    const struct {
        ULONG number;
        HRESULT object, binary, storage;
    } cases[] = {{0, kNone, S_OK, kNone},
                 {1, S_OK, S_OK, MAPI_E_NOT_FOUND},
                 {3, kNone, S_OK, MAPI_E_NOT_FOUND},
                 {4, kNone, kNone, S_OK}};
    auto message = mapi.OpenMessage(id);
    for (const auto& each : cases) {
        SCOPED_TRACE(each.number);
        auto opened = Open(message.get(), each.number);
        for (const ULONG flags : {ULONG{0}, MAPI_MODIFY | MAPI_CREATE}) {
            OpenStream(opened.get(), tag::kAttachDataObj, STGM_READWRITE, flags, each.object);
            OpenStream(opened.get(), tag::kAttachDataBin, STGM_READWRITE, flags, each.binary);
        }
        vek::RefPtr<IUnknown> storage;
        EXPECT_EQ(opened->OpenProperty(tag::kAttachDataObj, &iid::kStorage, 0, 0, storage.put()),
                  each.storage);
    }
    EXPECT_EQ(ReadAll(OpenStream(Open(message.get(), 1).get(), tag::kAttachDataObj, 0, 0).get()),
              "object");
}

TEST_F(AttachmentTest, AnEmbeddedMessageIsSavedThroughItsAttachment) {
    auto message = mapi.OpenMessage(id);
    auto attachment = Open(message.get(), 2);
    vek::RefPtr<IUnknown> opened;
    ASSERT_EQ(
        attachment->OpenProperty(tag::kAttachDataObj, &iid::kMessage, 0, MAPI_MODIFY, opened.put()),
        S_OK);
    vek::RefPtr<IMessage> inside;
    ASSERT_EQ(opened->QueryInterface(iid::kMessage, inside.put_void()), S_OK);
    EXPECT_EQ(Read(inside.get(), tag::kEntryId), std::nullopt);
    ASSERT_EQ(WriteText(inside.get(), tag::kSubjectA, "changed"), S_OK);
    ASSERT_EQ(inside->SaveChanges(0), S_OK);
    ASSERT_EQ(attachment->SaveChanges(0), S_OK);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    const auto saved = mapi.store().Find(id)->attachments.at(2).message;
    EXPECT_EQ(*saved->properties.Find(tag::kSubjectA)->content(), "changed");
}

}  // namespace
}  // namespace sandbox::outlook
