#include "processing/message_processor.h"
#include "mapi/entry_id.h"

#include <thread>

#include "internal/helpers/hresult_exception.h"
#include "tests/processing/async_fixture.h"
#include "tests/support/faulty_system.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using ::testing::ElementsAre;
using tests::Ended;
namespace result = vek::result;

class MessageProcessorTest : public tests::MailFixture {
protected:
    std::shared_ptr<MessageProcessor> Processor(IMAPISession* session = nullptr) {
        return MessageProcessor::Create(nullptr, functions_, session,
                                        {system_, clock_, product_.services, tracer_, observer_});
    }

    // The code of what is raised; 1 for an exception without one.
    static std::uint32_t CodeOf(const std::function<void()>& call) {
        try {
            return call(), 0;
        } catch (const vek::Exception& exception) {
            const auto* carrier = dynamic_cast<const vek::CodeCarrier*>(&exception);
            return carrier == nullptr ? 1 : carrier->code();
        }
    }
    std::uint32_t Check(MessageProcessor& processor, bool incoming = true) {
        return CodeOf(
            [&] { processor.ProcessMessage(mapi_.OpenMessage(entry_id_).get(), incoming, false); });
    }

    tests::FaultySystem system_;
    tests::AsyncProduct product_;
    std::function<vek::result_t(bool, IMailMessage&)>& script_ = product_.check;
    tests::RecordingObserver& observer_ = product_.observer;
};

TEST_F(MessageProcessorTest, AFailingCheckIsOneErrorLineAndLeavesTheMessage) {
    const auto processor = Processor();
    product_.product->FailLoader(0xA6460009);
    EXPECT_EQ(Check(*processor), 0u);
    product_.product->FailLoader(result::kOk);
    script_ = [](bool, IMailMessage&) -> vek::result_t { return 0x80000051; };
    EXPECT_EQ(Check(*processor), 0u);
    EXPECT_EQ(tracer_->Count("300 "), 2u);
    EXPECT_THAT(mapi_.save_flags(), testing::IsEmpty());
    EXPECT_THAT(observer_.Take(), ElementsAre("1 begun ", Ended({1}, 0xA6460009), "2 begun ",
                                              Ended({2}, 0x80000051)));
}

TEST_F(MessageProcessorTest, WhatTheSystemRefusesIsRaisedBeforeTheScannerIsCalled) {
    const auto processor = Processor();
    int calls = 0;
    script_ = [&](bool, IMailMessage&) { return ++calls, result::kOk; };
    for (int nth : {1, 2, 3}) {
        system_.fail_new_event = nth;
        EXPECT_EQ(Check(*processor), tests::FaultySystem::kErrorHResult);
    }
    system_.fail_start_thread = 1;
    EXPECT_EQ(Check(*processor), tests::FaultySystem::kErrorHResult);
    mapi_.faults().FailNth(outlook_call::kLogonEx, 1, MAPI_E_NO_ACCESS);
    EXPECT_EQ(Check(*processor), 0x80070005u);
    EXPECT_EQ(observer_.Take().back(), Ended({5}, 0x80070005));
    EXPECT_EQ(CodeOf([&] { processor->ProcessMessage(nullptr, kIncoming, kForeground); }), 1u);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Check(*processor), 0u);
    EXPECT_EQ(calls, 1) << "the next check works";
}

TEST_F(MessageProcessorTest, AFailingEventOrWaitLeavesNoWorkerBehind) {
    script_ = [&](bool, IMailMessage& mail) {
        std::u16string subject;
        EXPECT_TRUE(vek::Failed(mail.GetSubject(subject)));
        return result::kOk;
    };
    system_.fail_wait_on_thread = vek::platform::CurrentThreadId();  // the worker waits as well
    system_.fail_wait = 1;
    EXPECT_EQ(Check(*Processor()), tests::FaultySystem::kErrorHResult);
    script_ = [&](bool, IMailMessage&) {
        return system_.fail_set = 1, result::kOk;  // the worker's next: the done event
    };
    EXPECT_EQ(Check(*Processor()), 0u);
}

TEST_F(MessageProcessorTest, SavesTheScannersChangesAndLetsItKeepNothingOfTheMessage) {
    vek::RefPtr<IMailMessage> kept;
    vek::RefPtr<IPropertyProvider> body;
    vek::RefPtr<IDataStream> stream;
    script_ = [&, caller = std::this_thread::get_id()](bool incoming, IMailMessage& mail) {
        EXPECT_NE(std::this_thread::get_id(), caller);
        EXPECT_FALSE(incoming);
        kept = vek::RefPtr<IMailMessage>::Share(&mail);
        EXPECT_EQ(mail.SetSubject(u"changed"), result::kOk);
        EXPECT_EQ(mail.GetPlainBody(body.put()), result::kOk);
        return body->OpenStream(access_mode::kRead, 0, stream.put());
    };
    EXPECT_EQ(Check(*Processor(), kOutgoing), 0u);
    EXPECT_THAT(observer_.Take(), ElementsAre("1 begun ", Ended({1}, 0)));
    EXPECT_THAT(mapi_.logon_flags(), ElementsAre(ULONG{0x20}));
    EXPECT_EQ(Saved(tests::tag::kSubjectW), "changed") << "although it is still referred to";
    EXPECT_EQ(mapi_.live_objects(), 0u);
    const auto ask = [&] {
        std::u16string subject;
        std::uint64_t size = 0;
        EXPECT_EQ(kept->GetSubject(subject), result::kUnspecifiedError);
        EXPECT_EQ(stream->GetSize(size), result::kUnspecifiedError);
    };
    ask();  // on the thread that owned the message
    std::thread([&] {
        ask();
        stream.reset(), body.reset(), kept.reset();
    }).join();
}

TEST_F(MessageProcessorTest, EntryIdsAreOpenedInTheBackgroundSessionOrTheSuppliedOne) {
    script_ = [](bool, IMailMessage& mail) {
        std::u16string subject;
        EXPECT_EQ(mail.GetSubject(subject), result::kOk);
        return mail.SetSubject(u"[checked] " + subject);
    };
    const std::u16string hex = plugins::mapi::EntryIdToHex(entry_id_);
    const auto background = Processor();
    EXPECT_EQ(CodeOf([&] { background->ProcessMessageByEntryId(hex); }), 1u) << "no session yet";
    background->LogonBackgroundSession();
    background->ProcessMessageByEntryId(hex);
    EXPECT_THAT(mapi_.logon_flags(), ElementsAre(ULONG{0x200020}));
    EXPECT_EQ(background->LogoffBackgroundSession(), S_OK);
    const auto session = mapi_.OpenSession();
    const auto supplied = Processor(session.get());
    supplied->LogonBackgroundSession();
    EXPECT_EQ(supplied->LogoffBackgroundSession(), S_OK);
    observer_.Take();
    supplied->ProcessMessageByEntryId(hex + u"7", 70);  // an odd last digit is ignored
    EXPECT_EQ(observer_.Take().front(), "70 begun " + vek::ToUtf8(hex) + '7');
    EXPECT_EQ(mapi_.logon_flags().size(), 1u);
    EXPECT_EQ(Saved(tests::tag::kSubjectW), "[checked] [checked] Hello");
    EXPECT_EQ(CodeOf([&] { supplied->ProcessMessageByEntryId(u"00"); }),
              static_cast<std::uint32_t>(MAPI_E_NOT_FOUND));
}

TEST(EntryId, TakesDigitsOfEitherCaseAndOthersAsZero) {
    const std::pair<std::u16string_view, std::u16string> kCases[] = {
        {u"00fFA9", u"00FFA9"}, {u"zz", u"00"}, {u"1z2", u"10"}, {u"g", u""}};
    for (const auto& [hex, bytes] : kCases)
        EXPECT_EQ(mapi::EntryIdToHex(mapi::EntryIdFromHex(hex)), bytes);
}

}  // namespace
}  // namespace plugins::mail_processing
