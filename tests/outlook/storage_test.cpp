#include "sandbox/outlook/compound_file.h"
#include "sandbox/outlook/entry_points.h"
#include "sandbox/outlook/storage_transfer.h"
#include "tests/outlook/mapi_test.h"

namespace sandbox::outlook {
namespace {

class StorageTest : public MapiTest {
protected:
    void TearDown() override {
        stream_.reset();
        file_.reset();
        bytes_.reset();
        MapiTest::TearDown();
    }

    static std::shared_ptr<StorageNode> Stream(std::string bytes) {
        auto node = std::make_shared<StorageNode>();
        node->bytes = std::make_shared<const std::string>(std::move(bytes));
        return node;
    }

    static StorageNode Sample() {
        auto pool = std::make_shared<StorageNode>();
        pool->inside[u"Item"] = Stream(std::string(5000, 'i'));
        pool->inside[u"Empty"] = std::make_shared<StorageNode>();
        StorageNode root;
        root.inside = {{u"\1Ole", Stream("ole")}, {u"None", Stream("")}, {u"Pool", pool}};
        return root;
    }

    static std::string BytesOf(ILockBytes* bytes) {
        STATSTG facts{};
        EXPECT_EQ(bytes->Stat(&facts, STATFLAG_NONAME), S_OK);
        std::string content(facts.cbSize.QuadPart, '\0');
        ULONG read = 0;
        EXPECT_EQ(bytes->ReadAt({}, content.data(), static_cast<ULONG>(content.size()), &read),
                  S_OK);
        EXPECT_EQ(read, content.size());
        return content;
    }

    // The stand-in's own, on any system.
    void NewOwnFile() {
        ASSERT_EQ(EntryPoints::CreateLockBytes(nullptr, 1, bytes_.put()), S_OK);
        ASSERT_EQ(EntryPoints::CreateDocfile(bytes_.get(), STGM_CREATE, 0, file_.put()), S_OK);
    }

    HRESULT CreateStream(IStorage* storage, const char16_t* name, DWORD mode = kWriteElement) {
        return storage->CreateStream(ToWide(name).c_str(), mode, 0, 0, stream_.put());
    }

    vek::RefPtr<ILockBytes> bytes_;
    vek::RefPtr<IStorage> file_;
    vek::RefPtr<IStream> stream_;
};

TEST_F(StorageTest, CopiedIntoBytesOfTheSystemItIsReadBack) {
    const auto& ole = functions.ole;
    vek::RefPtr<IStorage> source;
    ASSERT_EQ(ole.create_lock_bytes(nullptr, 1, bytes_.put()), S_OK);
    constexpr DWORD kMode = STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE;
    ASSERT_EQ(ole.create_docfile(bytes_.get(), kMode, 0, file_.put()), S_OK);
    ASSERT_EQ(OpenStorage(std::make_shared<Runtime>(), Sample(), source.put()), S_OK);
    EXPECT_TRUE(FAILED(CreateStream(source.get(), u"new"))) << "for reading";
    ASSERT_EQ(source->CopyTo(0, nullptr, nullptr, file_.get()), S_OK);
    const std::string content = BytesOf(bytes_.get());
    EXPECT_EQ(EncodeStorage(*ReadCompoundFile(content)), EncodeStorage(Sample()));
    EXPECT_THROW(ReadCompoundFile(content.substr(1)), std::runtime_error);
    EXPECT_THROW(ReadCompoundFile(""), std::runtime_error);
}

TEST_F(StorageTest, TheRowOfBytesIsChecked) {
    const std::string whole = EncodeStorage(Sample());
    EXPECT_EQ(EncodeStorage(*DecodeStorage(whole)), whole);
    for (std::size_t size = 0; size < whole.size(); size += size < 40 ? 1 : 97)
        EXPECT_THROW(DecodeStorage(whole.substr(0, size)), std::runtime_error) << size;
    for (const std::string& bad : {whole + "x", std::string("STG1\1\0\0\0", 8),
                                   std::string("STG1\2\1\0x\0\0\2\1\0x\0\0\0", 17)})
        EXPECT_THROW(DecodeStorage(bad), std::runtime_error);
}

}  // namespace
}  // namespace sandbox::outlook
