// A scanner that dies while it changes a message: what it did not finish leaves no trace.

#include "sandbox/outlook/compressed_rtf.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {
namespace {

namespace tag = mapi::tag;
namespace result = vek::result;

constexpr const char* kOld = "{\\rtf1 what was there before, and is longer}";

class DyingScannerTest : public ContentFixture {
protected:
    enum class Step {
        kOpen,
        kShrink,
        kWrite,
        kCommit,
        kRename,
        kSubject,
        kDelete,
        kClose,
        kReopen
    };
    enum class What { kPlain, kHtml, kRich, kFile };

    void OpenContent(What what) {
        OpenMail();
        if (what == What::kPlain) mail_->GetPlainBody(one_.put());
        if (what == What::kHtml) mail_->GetHtmlBody(one_.put());
        if (what == What::kRich) mail_->GetRichBody(one_.put());
        if (what != What::kFile) return;
        bool found = false;
        mail_->GetAttachments(all_.put());
        all_->Next(one_.put(), found);
    }

    bool Make(Step step, std::uint32_t access, std::uint32_t mode) {
        switch (step) {
            case Step::kShrink:
                return stream_->SetSize(0) == result::kOk;
            case Step::kWrite:
                return Write("{\\rtf1 new}") == result::kOk;
            case Step::kCommit:
                return stream_->Commit() == result::kOk;
            case Step::kRename:
                return one_->Rename("new.txt") == result::kOk;
            case Step::kSubject:
                return mail_->SetSubject(u"new") == result::kOk;
            case Step::kDelete: {  // of another body, which saves
                vek::RefPtr<IPropertyProvider> other;
                mail_->GetRichBody(other.put());
                return other->Delete() == result::kOk;
            }
            case Step::kClose:
                stream_.reset();
                return true;
            default:
                return OpenStream(access, mode) == result::kOk;
        }
    }

    std::string Content(What what) {
        const auto record = mapi_.store().Find(entry_id_);
        if (what == What::kFile) {
            const Value* const file =
                record->attachments.front().properties.Find(tag::kAttachDataBin);
            return file != nullptr ? *file->content() : "(none)";
        }
        if (what != What::kRich) return Saved(what == What::kPlain ? tag::kBodyA : tag::kBodyHtmlA);
        const std::string saved = Saved(tag::kRtfCompressed);
        return sandbox::outlook::UncompressRtf(std::as_bytes(std::span(saved)));
    }
};

TEST_F(DyingScannerTest, LeavesWhatWasThereOrWholeChanges) {
    using enum Step;
    using enum What;
    constexpr auto kWriteOnly = access_mode::kWrite;
    constexpr auto kAnew = open_mode::kCreate;
    const std::vector<Step> rewrite{kOpen, kShrink, kWrite, kWrite, kCommit, kWrite};
    const std::vector<Step> written{kOpen, kWrite, kCommit};
    const std::vector<Step> twice{kSubject, kOpen, kWrite, kClose, kReopen, kCommit, kWrite};
    const struct {
        const char* name;
        What what;
        std::uint32_t access, mode;
        std::vector<Step> steps;
    } table[] = {
        {"plain", kPlain, kReadWrite, 0, rewrite},
        {"plain, in place", kPlain, kReadWrite, 0, {kOpen, kWrite, kCommit, kWrite}},
        {"plain, written only", kPlain, kWriteOnly, 0, written},
        {"plain, anew", kPlain, kReadWrite, kAnew, written},
        {"plain, anew and saved", kPlain, kReadWrite, kAnew, {kSubject, kOpen, kWrite, kCommit}},
        {"HTML, beside a deletion", kHtml, kReadWrite, 0, {kOpen, kWrite, kDelete, kCommit}},
        {"HTML", kHtml, kReadWrite, 0, rewrite},
        {"HTML, left and taken up", kHtml, kReadWrite, 0, twice},
        {"rich", kRich, kReadWrite, kAnew, written},
        {"file", kFile, kReadWrite, 0, rewrite},
        {"file, renamed between", kFile, kReadWrite, 0, {kOpen, kWrite, kRename, kCommit, kWrite}},
        {"file, anew", kFile, kWriteOnly, kAnew, written},
    };
    Set(tag::kBodyA, kOld);
    Set(tag::kBodyHtmlA, kOld);
    Set(tag::kRtfCompressed, Binary(sandbox::outlook::CompressRtf(kOld)));
    Edit([](auto& record) {
        record.AddAttachment(Bag({{tag::kAttachMethod, Value::Long(ATTACH_BY_VALUE)},
                                  {tag::kAttachDataBin, Value::Binary(kOld)}}));
    });
    const sandbox::outlook::MessageRecord before = *mapi_.store().Find(entry_id_);
    for (const auto& each : table) {
        // What a commit leaves: all steps before it, which nothing interrupts.
        std::string whole = kOld;
        for (std::size_t taken = 1; taken <= each.steps.size(); ++taken) {
            SCOPED_TRACE(testing::Message() << each.name << ", steps: " << taken);
            mapi_.store().Put(entry_id_, before);
            OpenContent(each.what);
            bool retitled = false;
            for (std::size_t i = 0; i != taken; ++i) {
                ASSERT_TRUE(Make(each.steps[i], each.access, each.mode)) << i;
                retitled = retitled || each.steps[i] == kSubject;
            }
            Close();
            if (each.steps[taken - 1] == kCommit) {
                whole = Content(each.what);
                EXPECT_NE(whole, kOld);
            }
            EXPECT_EQ(Content(each.what), whole);
            EXPECT_EQ(Saved(tag::kSubjectW), retitled ? "new" : "Hello");
        }
    }
}

// Two calls of the store fail on the way, too.
TEST_F(DyingScannerTest, LeavesWhatWasThereThoughTheStoreFails) {
    Edit([](auto& record) {
        record.AddAttachment(Bag({{tag::kAttachMethod, Value::Long(ATTACH_BY_VALUE)},
                                  {tag::kAttachDataBin, Value::Binary(kOld)}}));
    });
    const sandbox::outlook::MessageRecord before = *mapi_.store().Find(entry_id_);
    for (std::uint32_t nth = 1; nth != 20; ++nth) {
        mapi_.store().Put(entry_id_, before);
        OpenContent(What::kFile);
        mapi_.faults().FailNthOfAll(nth, MAPI_E_NO_ACCESS);
        mapi_.faults().FailNthOfAll(nth + 1, MAPI_E_NOT_FOUND);
        if (OpenStream(access_mode::kWrite, open_mode::kCreate) == result::kOk) Write("new");
        Close();
        mapi_.faults().Clear();
        EXPECT_EQ(Content(What::kFile), kOld) << nth;
    }
}

}  // namespace
}  // namespace plugins::mail_processing
