// Where the stand-in could forgive a mistake that Outlook does not, it must not: the tests of the
// mail model rely on that.

#include <thread>

#include "mapi/interface_ids.h"
#include "sandbox/outlook/code_page.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/mail_fixture.h"

namespace sandbox::outlook {
namespace {

namespace tag = plugins::mapi::tag;
using ::tests::TheStore;

using StrictnessTest = ::tests::MailFixture;

vek::RefPtr<IStream> Open(IMAPIProp& object, ULONG flags, HRESULT expected = S_OK) {
    vek::RefPtr<IUnknown> stream;
    EXPECT_EQ(object.OpenProperty(tag::kBodyA, &plugins::mapi::iid::kStream, STGM_READWRITE, flags,
                                  stream.put()),
              expected);
    return vek::RefPtr<IStream>::Adopt(static_cast<IStream*>(stream.detach()));
}

TEST_F(StrictnessTest, WrittenBytesNeedACommitAndASave) {
    const auto message = mapi_.OpenMessage(entry_id_);
    EXPECT_EQ(Open(*message, 0)->Write("x", 1, nullptr), STG_E_ACCESSDENIED);
    const bool stays = TheStore().writes_through && !TheStore().reverts;
    for (const bool commits : {false, true}) {
        const std::string before = Saved(tag::kBodyA);
        const auto stream = Open(*message, MAPI_MODIFY);
        ASSERT_EQ(stream->Write("PLAIN", 5, nullptr), S_OK);
        if (commits) {
            EXPECT_EQ(stream->Commit(STGC_DEFAULT), S_OK);
        }
        EXPECT_EQ(FAILED(stream->Revert()), !TheStore().reverts);
        EXPECT_EQ(Saved(tag::kBodyA), before);
        ASSERT_EQ(message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
        EXPECT_EQ(Saved(tag::kBodyA), commits || stays ? "PLAIN text" : "plain text");
    }
    const auto other = mapi_.OpenMessage(entry_id_);
    ASSERT_EQ(message->SaveChanges(0), S_OK);
    EXPECT_EQ(other->SaveChanges(0), MAPI_E_OBJECT_CHANGED) << "without FORCE_SAVE";
    Open(*mapi_.OpenMessage(entry_id_, 0), MAPI_MODIFY, MAPI_E_NO_ACCESS);
}

TEST_F(StrictnessTest, NarrowTextsLoseWhatTheCodePageLacks) {
    const std::string text = "\u0100 \u00E9 \u65E5 \uFF21";
    const std::tuple<unsigned, std::string, std::string> cases[] = {
        {StoreTraits::kUtf8, text, text},
        {1252, "A \xE9 ? A", "A \u00E9 ? A"},
        {932, "? e \x93\xFA \x82\x60", "? e \u65E5 \uFF21"}};
    for (const auto& [page, narrow, again] : cases) {
        const Content shown = ToCodePage(std::make_shared<std::string>(text), page);
        EXPECT_EQ(*shown, narrow);
        EXPECT_EQ(*FromCodePage(shown, page), again);
        if (page != TheStore().code_page) continue;
        for (const bool writes : {false, true}) {
            Set(tag::kBodyA, text);
            const auto message = mapi_.OpenMessage(entry_id_);
            const auto stream = Open(*message, MAPI_MODIFY);
            std::string bytes(narrow.size(), '\0');
            stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
            EXPECT_EQ(bytes, narrow);
            if (writes) stream->Write("!", 1, nullptr);
            stream->Commit(STGC_DEFAULT);
            message->SaveChanges(0);
            EXPECT_EQ(Saved(tag::kBodyA), writes ? again + "!" : text);
        }
    }
}

TEST_F(StrictnessTest, CountsWhatIsForeignLeftOrFreedTwice) {
    outlook::MapiMemory memory;
    void* const buffer = memory.Allocate(8);
    EXPECT_EQ(memory.LiveBuffers(), 1u);
    EXPECT_TRUE(memory.Free(buffer));
    EXPECT_FALSE(memory.Free(buffer));
    EXPECT_EQ(memory.BadFrees(), 1u);
    for (const StoreTraits* const store : kStores) {
        outlook::Runtime runtime(*store);
        runtime.Enter(Call::kGetProps, {});
        runtime.EnterReference({});
        EXPECT_EQ(runtime.foreign_calls(), store->pedantic ? 2u : 1u);
        std::thread([&] {
            for (const bool free : {false, true}) {
                runtime.NoteInitialize(!free);
                const outlook::LiveObject object(
                    runtime, free ? std::thread::id() : std::this_thread::get_id());
                runtime.NoteUninitialize();
            }
        }).join();
        EXPECT_EQ(runtime.outliving_objects(), store->pedantic ? 2u : 0u);
        EXPECT_EQ(runtime.Refuses(6, 4), store->pedantic);
    }
}

}  // namespace
}  // namespace sandbox::outlook
