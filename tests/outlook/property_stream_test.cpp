#include <cstring>

#include "tests/outlook/mapi_test.h"

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

TEST_F(PropertyStreamTest, SeeksWithinReason) {
    auto message = mapi.OpenMessage(id);
    auto stream = OpenStream(message.get(), tag::kBodyA, STGM_READWRITE, MAPI_MODIFY);
    struct {
        std::int64_t offset;
        DWORD origin;
        HRESULT code;
        std::uint64_t position;
    } const steps[] = {
        {4, STREAM_SEEK_SET, S_OK, 4},
        {-1, STREAM_SEEK_CUR, S_OK, 3},
        {-4, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 0},
        {0, STREAM_SEEK_CUR, S_OK, 3},
        {INT64_MAX, STREAM_SEEK_CUR, STG_E_INVALIDFUNCTION, 0},
        {INT64_MIN, STREAM_SEEK_END, STG_E_INVALIDFUNCTION, 0},
        {0, 3, STG_E_INVALIDFUNCTION, 0},
        {2, STREAM_SEEK_END, S_OK, 12},
    };
    for (const auto& step : steps) {
        std::uint64_t position = 0;
        EXPECT_EQ(SeekTo(stream.get(), step.offset, step.origin, &position), step.code);
        EXPECT_EQ(position, step.position);
    }
    EXPECT_EQ(ReadAll(stream.get()), "");
    ASSERT_EQ(Write(stream.get(), "x"), S_OK);
    EXPECT_EQ(SizeOf(stream.get()), 13u) << "with a gap of zeros";
    ULARGE_INTEGER size{};
    size.QuadPart = 3;
    ASSERT_EQ(stream->SetSize(size), S_OK);
    ASSERT_EQ(SeekTo(stream.get(), 0, STREAM_SEEK_SET), S_OK);
    EXPECT_EQ(ReadAll(stream.get()), "012");
    size.QuadPart = UINT64_MAX;
    EXPECT_EQ(stream->SetSize(size), STG_E_MEDIUMFULL);
}

TEST_F(PropertyStreamTest, CopiesIntoAnotherStreamAndIntoItself) {
    auto message = mapi.OpenMessage(id);
    auto source = OpenStream(message.get(), tag::kBodyA, STGM_READWRITE, MAPI_MODIFY);
    auto target = OpenStream(message.get(), tag::kSubjectA, STGM_READWRITE, MAPI_MODIFY);
    ASSERT_EQ(SeekTo(source.get(), 7, STREAM_SEEK_SET), S_OK);
    ULARGE_INTEGER size{};
    size.QuadPart = UINT64_MAX;
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    ASSERT_EQ(source->CopyTo(target.get(), size, &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 3u);
    EXPECT_EQ(written.QuadPart, 3u);
    ASSERT_EQ(SeekTo(target.get(), 0, STREAM_SEEK_SET), S_OK);
    EXPECT_EQ(ReadAll(target.get()), "789\xC3\xA9");

    ASSERT_EQ(Write(source.get(), "x"), S_OK);
    ASSERT_EQ(SeekTo(source.get(), 0, STREAM_SEEK_SET), S_OK);
    ASSERT_EQ(source->CopyTo(source.get(), size, nullptr, nullptr), S_OK);
    EXPECT_EQ(SizeOf(source.get()), 22u);
}

}  // namespace
}  // namespace sandbox::outlook
