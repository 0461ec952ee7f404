#include "sandbox/outlook/compound_file.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

using sandbox::outlook::AttachmentRecord;
using sandbox::outlook::StorageNode;
using vek::result_t;
namespace tag = mapi::tag;
namespace result = vek::result;

constexpr result_t kMapiNotFound = 0x8004010F;

class AttachmentsTest : public ContentFixture {
protected:
    void Add(ULONG method, const std::string& name,
             const std::function<void(AttachmentRecord&)>& change = {}) {
        Edit([&](auto& record) {
            AttachmentRecord& added = record.AddAttachment(
                Bag({{tag::kAttachMethod, Value::Long(static_cast<std::int32_t>(method))},
                     {tag::kDisplayNameA, Text(name)}}));
            if (change) change(added);
        });
    }
    void AddFile(const std::string& name, const std::string& content) {
        Add(ATTACH_BY_VALUE, name, [&](auto& added) {
            added.properties.Set(tag::kAttachDataBin, Value::Binary(content));
        });
    }
    void AddStorage() {
        Add(ATTACH_OLE, "storage", [](auto& added) { added.storage = Storage(); });
    }
    // The content of an OLE object that is a storage only.
    static std::shared_ptr<StorageNode> Storage() {
        auto root = std::make_shared<StorageNode>();
        for (const char16_t* name : {u"CONTENTS", u"\1Ole"}) {
            auto& node = root->inside[name] = std::make_shared<StorageNode>();
            node->bytes = std::make_shared<const std::string>(5000, 'x');
        }
        return root;
    }
    void Open() {
        OpenMail();
        ASSERT_EQ(mail_->GetAttachments(all_.put()), result::kOk);
    }
    result_t Next() {
        bool found = true;
        const result_t code = all_->Next(one_.put(), found);
        EXPECT_EQ(static_cast<bool>(one_), vek::Succeeded(code) && found);
        return code;
    }
    std::string Name() { return TextOf(one_, &IPropertyProvider::GetName); }
    std::string SavedOf(std::size_t index, ULONG property) {
        const auto record = mapi_.store().Find(entry_id_);
        return *record->attachments.at(index).properties.Find(property)->content();
    }
};

TEST_F(AttachmentsTest, TheMethodDecidesWhatIsReached) {
    const struct {
        ULONG method;
        result_t next, opened;
    } cases[] = {
        {0, result::kOk, result::kNotSupported},
        {ATTACH_BY_VALUE, result::kOk, kMapiNotFound},
        {ATTACH_BY_REFERENCE, result::kNotSupported, 0},
        {ATTACH_EMBEDDED_MSG, result::kNotSupported, 0},
        {ATTACH_OLE, kMapiNotFound, 0},
        {7, result::kOk, result::kNotSupported},
        {0xFFFFFFFF, result::kOk, result::kNotSupported},
    };
    for (const auto& each : cases) Add(each.method, std::to_string(each.method));
    Open();
    for (const auto& each : cases) {
        SCOPED_TRACE(each.method);
        EXPECT_EQ(Next(), each.next);
        if (!one_) continue;
        EXPECT_EQ(Name(), std::to_string(each.method));
        EXPECT_EQ(OpenStream(kRead), each.opened);
    }
    EXPECT_EQ(Next(), result::kOk);
    EXPECT_FALSE(one_) << "the end";
}

TEST_F(AttachmentsTest, IsFoundByItsDisplayName) {
    for (const char* name : {"a", "b\xC3\xA9", "c"}) AddFile(name, name);
    Add(ATTACH_EMBEDDED_MSG, "mail");
    Open();
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(all_->Find(u"b\u00E9", one_.put()), result::kOk) << "from wherever it stands";
        EXPECT_EQ(Name(), Narrow("b\xC3\xA9"));
        EXPECT_EQ(Next(), result::kOk);
        EXPECT_EQ(Name(), "c");
    }
    EXPECT_EQ(all_->Find(u"nobody", one_.put()), kMapiNotFound);
    EXPECT_EQ(all_->Find(u"mail", one_.put()), result::kNotSupported);
    EXPECT_FALSE(one_);
}

TEST_F(AttachmentsTest, NamesFallBackFromOneToTheNext) {
    AddFile("Shown", "");
    const std::pair<ULONG, std::string> names[] = {{tag::kDisplayNameA, "Shown"},
                                                   {tag::kAttachLongFilenameA, "long.html"},
                                                   {tag::kAttachFilenameA, "SHORT.HTM"}};
    for (const auto& each : names)
        Edit([&](auto& record) {
            record.attachments[0].properties.Set(each.first, Text(each.second));
        });
    for (const auto& [property, name] : names) {
        Open();
        ASSERT_EQ(Next(), result::kOk);
        EXPECT_EQ(Name(), name);
        EXPECT_EQ(TextOf(one_, &IPropertyProvider::GetFileName),
                  name == "Shown" ? "long.html" : name);
        Edit([&property = property](auto& record) {
            record.attachments[0].properties.Erase(property);
        });
    }
    Open();
    ASSERT_EQ(Next(), result::kOk);
    EXPECT_EQ(Name(), "0x8000004c");
}

TEST_F(AttachmentsTest, WhatIsChangedIsSavedWithItsLastUser) {
    for (const char* name : {"a.txt", "b.txt"}) AddFile(name, "content");
    Open();
    ASSERT_EQ(Next(), result::kOk);
    EXPECT_EQ(one_->Rename("new.txt"), result::kOk);
    ASSERT_EQ(Next(), result::kOk);
    for (const auto& [mode, text] : {std::pair{0u, "CON"}, std::pair{open_mode::kCreate, "new"}}) {
        ASSERT_EQ(OpenStream(kReadWrite, mode), result::kOk);
        EXPECT_EQ(Write(text), result::kOk);
        EXPECT_EQ(stream_->Commit(), result::kOk);
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        EXPECT_EQ(Read(), mode == 0 ? "CONtent" : "new");
    }
    Close();
    for (ULONG name : {tag::kDisplayNameA, tag::kAttachFilenameA, tag::kAttachLongFilenameA})
        EXPECT_EQ(SavedOf(0, name), "new.txt");
    EXPECT_EQ(SavedOf(1, tag::kAttachDataBin), "new");
    EXPECT_EQ(mapi_.save_flags(), std::vector<ULONG>(3, 6)) << "attachments before the message";

    Set(tag::kMessageClassA, "IPM.Note.smime.MultipartSigned");
    Open();
    ASSERT_EQ(Next(), result::kOk);
    EXPECT_EQ(OpenStream(access_mode::kWrite), result::kNotSupported);
    EXPECT_EQ(OpenStream(kRead), result::kOk);
}

TEST_F(AttachmentsTest, IsLetGoBeforeItIsDeletedAndUsedOnWhenThatFails) {
    const bool guarded = tests::TheStore().guards_attachments;
    AddFile("file", "content");
    Open();
    ASSERT_EQ(Next(), result::kOk);
    EXPECT_EQ(one_->Rename("new"), result::kOk);
    if (guarded) {
        ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
        EXPECT_EQ(one_->Delete(), result_t{0x80070005});
        EXPECT_EQ(Write("CON"), result::kOk);
        EXPECT_EQ(stream_->Commit(), result::kOk);
    }
    stream_.reset();
    mapi_.faults().FailNth(sandbox::outlook::Call::kDeleteAttach, 1, MAPI_E_DISK_ERROR);
    EXPECT_EQ(one_->Delete(), static_cast<result_t>(MAPI_E_DISK_ERROR));
    EXPECT_EQ(Name() + TextOf(one_, &IPropertyProvider::GetFileName), "newnew");
    ASSERT_EQ(OpenStream(kReadWrite), result::kOk);
    EXPECT_EQ(Read(), guarded ? "CONtent" : "content");
    if (guarded) stream_.reset();
    EXPECT_EQ(one_->Delete(), result::kOk);
    if (stream_) Write("in vain");
    EXPECT_EQ(one_->Delete(), kMapiNotFound);
    EXPECT_EQ(Name(), "new");
    EXPECT_EQ(TextOf(one_, &IPropertyProvider::GetMimeTag), "0x8000004c");
    EXPECT_FALSE(mapi_.store().Find(entry_id_)->attachments.empty())
        << "before the message is saved";
    Close();
    EXPECT_TRUE(mapi_.store().Find(entry_id_)->attachments.empty());
    EXPECT_EQ(tracer_->Count("Property save failed"), 0u);
}

TEST_F(AttachmentsTest, AnOleObjectIsReadOnOneOfThreeRoads) {
    const std::pair<const char*, result_t> cases[] = {
        {"object", result::kOk}, {"binary", result::kOk}, {"storage", result::kNotSupported}};
    for (const auto& [what, written] : cases) {
        SCOPED_TRACE(what);
        Edit([](auto& record) { record.attachments.clear(); });
        if (vek::Failed(written)) {
            AddStorage();
        } else {
            Add(ATTACH_OLE, what, [&what = what](auto& added) {
                added.binary_only = what[0] == 'b';
                added.properties.Set(tag::kAttachDataBin, Value::Binary(what));
            });
        }
        Open();
        ASSERT_EQ(Next(), result::kOk);
        ASSERT_EQ(OpenStream(kRead), result::kOk);
        EXPECT_EQ(Read(6) == what, !vek::Failed(written));
        EXPECT_EQ(OpenStream(kReadWrite), written);
    }
    EXPECT_EQ(tracer_->Count("Get storage property 0x3701000d"), 2u) << "probed, then read";
}

TEST_F(AttachmentsTest, AStorageIsReadOnceAsACompoundFile) {
    AddStorage();
    Open();
    ASSERT_EQ(Next(), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    std::uint64_t size = 0, position = 7;
    EXPECT_EQ(stream_->GetSize(size), result::kOk);
    const std::string first = Read(size / 2);
    EXPECT_EQ(stream_->Seek(0, SeekOrigin::kStart, position), result::kOk);
    EXPECT_EQ(position, 0u);
    const std::string content = first + Read(size - size / 2);
    EXPECT_EQ(content.size(), size);
    EXPECT_EQ(Read(), "");
    EXPECT_EQ(Write("x"), result::kAccessDenied);
    EXPECT_EQ(stream_->SetSize(0), result::kAccessDenied);
    EXPECT_EQ(stream_->Commit(), result::kOk);
    EXPECT_EQ(EncodeStorage(*sandbox::outlook::ReadCompoundFile(content)),
              EncodeStorage(*Storage()));
    Close();
    EXPECT_TRUE(mapi_.save_flags().empty());
}

TEST_F(AttachmentsTest, CopiesOfAStorageAreOneUntilItChanges) {
    AddStorage();
    Open();
    ASSERT_EQ(Next(), result::kOk);
    const auto copies = [&] { return tracer_->Count("Get storage property") - 1; };  // the probe's
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    const std::string start = Read(9);
    const auto first = stream_;
    ASSERT_EQ(all_->Find(u"storage", one_.put()), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(copies(), 1u);
    EXPECT_EQ(Read().substr(0, 9), start) << "from a place of its own";
    EXPECT_EQ(one_->Rename("new"), result::kOk);
    ASSERT_EQ(OpenStream(kRead), result::kOk);
    EXPECT_EQ(copies(), 2u);
    const auto second = stream_;
    EXPECT_EQ(one_->Delete(), result::kOk);
    EXPECT_EQ(OpenStream(kRead), result::kNotFound);

    const auto empty =
        mapi::NewCompoundFile(functions_->ole, *mapi::NewMemoryLockBytes(functions_->ole));
    const CheckBudget budget;
    EXPECT_ANY_THROW(StorageCopy(functions_->ole, *empty, CheckBudget({100, 0}), 101));
    StorageCopies all;
    const auto copy = [&](ULONG number) {
        return all.Get(number, [&] {
            return std::make_shared<StorageCopy>(functions_->ole, *empty, budget, 100);
        });
    };
    const auto one = copy(1), two = copy(2);
    EXPECT_EQ(budget.left().bytes, CheckLimits().bytes - one->Size() - two->Size());
    all.StopSharing(1);
    EXPECT_TRUE(one != two && copy(2) == two);
    const auto own = copy(1);
    EXPECT_TRUE(own != one && copy(1) != own);
}

TEST_F(AttachmentsTest, HoldsNoMoreThanTheCheckMay) {
    limits_ = {19'000, 2};
    AddStorage();
    AddStorage();
    Open();
    ASSERT_EQ(Next(), result::kOk);
    const auto ole = one_;
    std::array<vek::RefPtr<IDataStream>, 2> streams;
    for (auto& each : streams) ASSERT_EQ(ole->OpenStream(kRead, 0, each.put()), result::kOk);
    EXPECT_EQ(ole->OpenStream(kRead, 0, stream_.put()), result::kInsufficientResources);
    streams[0].reset();
    EXPECT_EQ(Next(), result::kInsufficientResources) << "a second copy";
    streams[1].reset();
    ASSERT_EQ(all_->Reset(), result::kOk);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Next(), result::kOk) << "one copy at a time";

    limits_ = {10, 0};
    AddFile("file", "content");
    Open();
    ASSERT_EQ(all_->Find(u"file", one_.put()), result::kOk);
    EXPECT_EQ(one_->Rename("1234"), result::kInsufficientResources);
    EXPECT_EQ(Name(), "file") << "not in part either";
    one_.reset();  // and with it the name
    EXPECT_EQ(mail_->SetProperty(tag::kSenderNameA, "12345678901"), result::kInsufficientResources);
    EXPECT_EQ(mail_->SetSubject(u"12345"), result::kOk);
    EXPECT_EQ(TextOf(mail_, &IMailMessage::GetSubject), "0x8000006c") << "held twice";
    EXPECT_EQ(TextOf(mail_, &IMailMessage::GetSenderName), "0x8000006c");
    ASSERT_EQ(mail_->GetPlainBody(one_.put()), result::kOk);
    EXPECT_EQ(OpenStream(kRead), result::kInsufficientResources);
    Close();
    EXPECT_EQ(Saved(tag::kSenderNameA), "Ann");
    EXPECT_EQ(Saved(tag::kSubjectW), "12345");
}

}  // namespace
}  // namespace plugins::mail_processing
