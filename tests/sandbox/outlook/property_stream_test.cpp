#include <cstring>

#include "tests/sandbox/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class PropertyStreamTest : public MapiTest {
protected:
    static MessageRecord Mail() {
        MessageRecord message = Message("caf\xC3\xA9");
        message.properties.Set(tag::kBodyA, PropertyValue::Text("0123456789"));
        message.properties.Set(tag::kRecipientType, PropertyValue::Long(1));
        return message;
    }

    static std::uint64_t SizeOf(IStream* stream) {
        STATSTG stat{};
        EXPECT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
        return stat.cbSize.QuadPart;
    }

    static HRESULT SeekTo(IStream* stream, std::int64_t offset, DWORD origin,
                          std::uint64_t* position = nullptr) {
        LARGE_INTEGER move{};
        move.QuadPart = offset;
        ULARGE_INTEGER now{};
        const HRESULT code = stream->Seek(move, origin, &now);
        if (position != nullptr) *position = now.QuadPart;
        return code;
    }

    const std::string id = mapi.store().Add(Mail());
};

TEST_F(PropertyStreamTest, OpensAsTheFlagsSay) {
    constexpr ULONG kReplace = MAPI_MODIFY | MAPI_CREATE;
    struct {
        const char* what;
        ULONG message_flags;
        ULONG tag;
        ULONG options;
        ULONG flags;
        HRESULT opened;
        HRESULT read;
        HRESULT written;
    } const cases[] = {
        {"for reading", MAPI_MODIFY, tag::kBodyA, STGM_READ, 0, S_OK, S_OK, STG_E_ACCESSDENIED},
        {"for both", MAPI_MODIFY, tag::kBodyA, STGM_READWRITE, MAPI_MODIFY, S_OK, S_OK, S_OK},
        {"for writing", MAPI_MODIFY, tag::kBodyA, STGM_WRITE, MAPI_MODIFY, S_OK, STG_E_ACCESSDENIED,
         S_OK},
        {"write options alone", MAPI_MODIFY, tag::kBodyA, STGM_READWRITE, 0, S_OK, S_OK,
         STG_E_ACCESSDENIED},
        {"missing", MAPI_MODIFY, tag::kBodyHtmlA, 0, MAPI_MODIFY, MAPI_E_NOT_FOUND, 0, 0},
        {"missing, created", MAPI_MODIFY, tag::kBodyHtmlA, STGM_READWRITE, kReplace, S_OK, S_OK,
         S_OK},
        {"created without writing", MAPI_MODIFY, tag::kBodyA, 0, MAPI_CREATE,
         MAPI_E_INVALID_PARAMETER, 0, 0},
        {"in a message for reading", 0, tag::kBodyA, STGM_READWRITE, MAPI_MODIFY, MAPI_E_NO_ACCESS,
         0, 0},
        {"a number", MAPI_MODIFY, tag::kRecipientType, 0, 0, MAPI_E_INTERFACE_NOT_SUPPORTED, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        auto message = mapi.OpenMessage(id, c.message_flags);
        auto stream = OpenStream(message.get(), c.tag, c.options, c.flags, c.opened);
        ASSERT_EQ(stream == nullptr, FAILED(c.opened));
        if (!stream) continue;
        char byte = 0;
        EXPECT_EQ(stream->Read(&byte, 1, nullptr), c.read);
        EXPECT_EQ(Write(stream.get(), "x"), c.written);
        EXPECT_EQ(stream->SetSize({}), c.written);
    }
}

TEST_F(PropertyStreamTest, WritingShowsAtCommitAndIsStoredAtSave) {
    auto message = mapi.OpenMessage(id);
    auto stream = OpenStream(message.get(), tag::kBodyA, STGM_READWRITE, MAPI_MODIFY);
    EXPECT_EQ(ReadAll(stream.get()), "0123456789");
    ASSERT_EQ(SeekTo(stream.get(), 8, STREAM_SEEK_SET), S_OK);
    ASSERT_EQ(Write(stream.get(), "abcd"), S_OK);
    EXPECT_EQ(ReadText(message.get(), tag::kBodyA), "0123456789");
    ASSERT_EQ(stream->Commit(0), S_OK);
    EXPECT_EQ(ReadText(message.get(), tag::kBodyA), "01234567abcd");
    ASSERT_EQ(Write(stream.get(), "!"), S_OK);
    EXPECT_EQ(ReadText(message.get(), tag::kBodyA), "01234567abcd") << "not committed";
    EXPECT_EQ(mapi.store().Find(id)->properties.Find(tag::kBodyA)->Size(), 10u);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(*mapi.store().Find(id)->properties.Find(tag::kBodyA)->content(), "01234567abcd");
    EXPECT_EQ(stream->Commit(0), MAPI_E_NO_ACCESS) << "the message is closed";
}

}  // namespace
}  // namespace sandbox::outlook
