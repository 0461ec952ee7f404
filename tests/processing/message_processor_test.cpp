#include "processing/message_processor.h"

#include <thread>

#include "internal/helpers/hresult_exception.h"
#include "processing/entry_id.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "tests/support/faulty_system.h"
#include "tests/support/mail_fixture.h"
#include "vek/core/throw.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = sandbox::outlook::Call;
using reference_product::InProcessProduct;
using reference_product::ScriptedScanner;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class MessageProcessorTest : public tests::MailFixture {
protected:
    ~MessageProcessorTest() override {
        EXPECT_EQ(system_.live_events, 0);
        EXPECT_EQ(system_.live_threads, 0);
    }

    std::shared_ptr<MessageProcessor> Processor(IMAPISession* session = nullptr) {
        return MessageProcessor::Create(nullptr, functions_, session,
                                        {system_, clock_, services_, tracer_});
    }

    void Check(MessageProcessor& processor) {
        processor.ProcessMessage(mapi_.OpenMessage(entry_id_).get(), kIncoming, kForeground);
    }

    template <class Call>
    std::uint32_t CodeOf(const Call& call) {
        try {
            call();
            return 0;
        } catch (const vek::Exception& exception) {
            const auto* carrier = dynamic_cast<const vek::CodeCarrier*>(&exception);
            return carrier == nullptr ? 1 : carrier->code();
        }
    }

    std::function<vek::result_t(bool, IMailMessage&)> script_ = [](bool, IMailMessage& mail) {
        std::u16string subject;
        EXPECT_EQ(mail.GetSubject(subject), vek::result::kOk);
        return mail.SetSubject(u"[checked] " + subject);
    };
    tests::FaultySystem system_;
    vek::RefPtr<InProcessProduct> product_ =
        vek::MakeObject<InProcessProduct>(vek::MakeObject<ScriptedScanner>(
            [this](bool incoming, IMailMessage& mail) { return script_(incoming, mail); }));
    loader::ServiceAccess services_{[this](vek::RefPtr<ILoader>& loader) {
        loader = product_;
        return vek::result::kOk;
    }};
};

TEST_F(MessageProcessorTest, TheScannersChangesAreInTheStoreWhenItReturns) {
    const auto processor = Processor();
    std::thread::id scanner_thread;
    bool incoming_seen = true;
    script_ = [&](bool incoming, IMailMessage& mail) {
        scanner_thread = std::this_thread::get_id();
        incoming_seen = incoming;
        return mail.SetSubject(u"changed");
    };
    processor->ProcessMessage(mapi_.OpenMessage(entry_id_).get(), kOutgoing, kForeground);
    EXPECT_NE(scanner_thread, std::this_thread::get_id());
    EXPECT_FALSE(incoming_seen);
    EXPECT_EQ(Saved(tests::tag::kSubjectW), "changed");
    EXPECT_THAT(mapi_.logon_flags(), ElementsAre(ULONG{0x20}));
    EXPECT_EQ(tracer_->lines().front(), "700 => ProcessMessage");
    EXPECT_EQ(tracer_->lines().back(), "700 <= ProcessMessage");
}

TEST_F(MessageProcessorTest, AFailingCheckIsOneErrorLineAndLeavesTheMessage) {
    const auto processor = Processor();
    product_->FailLoader(0xA6460009);
    Check(*processor);
    EXPECT_EQ(tracer_->Count("300 CheckResultFailedException"), 1u);
    product_->FailLoader(vek::result::kOk);
    script_ = [](bool, IMailMessage&) -> vek::result_t { return 0x80000051; };
    Check(*processor);
    EXPECT_EQ(tracer_->Count("300 CheckResultFailedException - Operation cancelled. At "), 1u);
    EXPECT_EQ(tracer_->Count("300 "), 2u);
    EXPECT_EQ(Saved(tests::tag::kSubjectW), "Hello");
    EXPECT_THAT(mapi_.save_flags(), IsEmpty());
}

TEST_F(MessageProcessorTest, WhatTheSystemRefusesIsRaisedBeforeTheScannerIsCalled) {
    const auto processor = Processor();
    int calls = 0;
    script_ = [&](bool, IMailMessage&) { return ++calls, vek::result::kOk; };
    for (int nth : {1, 2, 3}) {
        system_.fail_new_event = nth;
        EXPECT_EQ(CodeOf([&] { Check(*processor); }), tests::FaultySystem::kErrorHResult);
    }
    system_.fail_start_thread = 1;
    EXPECT_EQ(CodeOf([&] { Check(*processor); }), tests::FaultySystem::kErrorHResult);
    mapi_.faults().FailNth(outlook_call::kLogonEx, 1, MAPI_E_NO_ACCESS);
    EXPECT_EQ(CodeOf([&] { Check(*processor); }), 0x80070005u);
    EXPECT_EQ(CodeOf([&] { processor->ProcessMessage(nullptr, kIncoming, kForeground); }), 1u);
    EXPECT_EQ(calls, 0);
    Check(*processor);
    EXPECT_EQ(calls, 1) << "the next check works";
}

TEST_F(MessageProcessorTest, AFailingWaitEndsTheCheckWithoutLeavingTheWorkerBehind) {
    const auto processor = Processor();
    script_ = [&](bool, IMailMessage& mail) {
        std::u16string subject;
        const vek::result_t result = mail.GetSubject(subject);
        EXPECT_TRUE(vek::Failed(result));
        return result;
    };
    system_.fail_wait_on_thread = vek::platform::CurrentThreadId();  // the worker waits as well
    system_.fail_wait = 1;
    EXPECT_EQ(CodeOf([&] { Check(*processor); }), tests::FaultySystem::kErrorHResult);
}

TEST_F(MessageProcessorTest, ADoneEventThatCannotBeSignalledEndsTheCheckAllTheSame) {
    const auto processor = Processor();
    script_ = [&](bool, IMailMessage&) {
        system_.fail_set = 1;  // the worker's next
        return vek::result::kOk;
    };
    Check(*processor);
}

TEST_F(MessageProcessorTest, WhatTheScannerKeepsAnswersWithAFailureAndHoldsNothingOfTheMessage) {
    vek::RefPtr<IMailMessage> kept;
    vek::RefPtr<IPropertyProvider> body;
    vek::RefPtr<IDataStream> stream;
    script_ = [&](bool, IMailMessage& mail) {
        kept = vek::RefPtr<IMailMessage>::Share(&mail);
        EXPECT_EQ(mail.SetSubject(u"kept"), vek::result::kOk);
        EXPECT_EQ(mail.GetPlainBody(body.put()), vek::result::kOk);
        return body->OpenStream(access_mode::kRead, 0, stream.put());
    };
    Check(*Processor());
    EXPECT_EQ(Saved(tests::tag::kSubjectW), "kept") << "saved although still referred to";
    EXPECT_EQ(mapi_.live_objects(), 0u);
    const auto ask = [&] {
        std::u16string subject;
        std::uint64_t size = 0;
        EXPECT_EQ(kept->GetSubject(subject), vek::result::kUnspecifiedError);
        EXPECT_EQ(stream->GetSize(size), vek::result::kUnspecifiedError);
    };
    ask();  // on the thread that owned the message
    std::thread scanner([&] {
        ask();
        stream.reset();
        body.reset();
        kept.reset();
    });
    scanner.join();
}

TEST_F(MessageProcessorTest, EntryIdsAreOpenedInTheBackgroundSessionOrTheSuppliedOne) {
    std::u16string hex;
    for (char c : entry_id_) {
        for (int digit : {static_cast<unsigned char>(c) >> 4, c & 0xF}) {
            hex.push_back(u"0123456789aBcDeF"[digit]);
        }
    }
    const auto background = Processor();
    EXPECT_EQ(CodeOf([&] { background->ProcessMessageByEntryId(hex); }), 1u) << "no session yet";
    background->LogonBackgroundSession();
    background->ProcessMessageByEntryId(hex);
    EXPECT_THAT(mapi_.logon_flags(), ElementsAre(ULONG{0x200020}));
    EXPECT_EQ(background->LogoffBackgroundSession(), S_OK);
    EXPECT_EQ(tracer_->Count("700 Logoff background session. result: 0x00000000"), 1u);

    const auto session = mapi_.OpenSession();
    const auto supplied = Processor(session.get());
    supplied->LogonBackgroundSession();
    EXPECT_EQ(supplied->LogoffBackgroundSession(), S_OK);
    supplied->ProcessMessageByEntryId(hex + u"7");  // an odd last digit is ignored
    EXPECT_EQ(mapi_.logon_flags().size(), 1u);
    EXPECT_EQ(Saved(tests::tag::kSubjectW), "[checked] [checked] Hello");
    EXPECT_EQ(CodeOf([&] { supplied->ProcessMessageByEntryId(u"00"); }),
              static_cast<std::uint32_t>(MAPI_E_NOT_FOUND));
    EXPECT_EQ(tracer_->Count("700 Get IMessage from entry list"), 4u);
}

TEST(EntryIdTest, HexDigitsOfEitherCaseOthersCountAsZero) {
    const struct {
        std::u16string_view hex;
        std::vector<unsigned> bytes;
    } cases[] = {{u"00fFA9", {0x00, 0xFF, 0xA9}}, {u"zz", {0}}, {u"1z2", {0x10}}, {u"g", {}}};
    for (const auto& each : cases) {
        std::vector<unsigned> bytes;
        for (std::byte b : EntryIdFromHex(each.hex)) bytes.push_back(static_cast<unsigned>(b));
        EXPECT_EQ(bytes, each.bytes);
    }
}

TEST_F(MessageProcessorTest, TwoChecksAtOnceNeverMixAndAThousandLeaveNothing) {
    const auto processor = Processor();
    script_ = [](bool incoming, IMailMessage& mail) {
        std::u16string subject;
        EXPECT_EQ(mail.GetSubject(subject), vek::result::kOk);
        EXPECT_EQ(subject, incoming ? u"first" : u"second");
        vek::RefPtr<IPropertyProvider> body;
        EXPECT_EQ(mail.GetPlainBody(body.put()), vek::result::kOk);
        return mail.SetProperty(0x3FFF001E, incoming ? "1" : "2");
    };
    const auto check = [&](bool incoming) {
        sandbox::outlook::MessageRecord record = *mapi_.store().Find(entry_id_);
        record.properties.Set(tests::tag::kSubjectW,
                              sandbox::outlook::PropertyValue::Text(incoming ? "first" : "second"));
        const std::string id = mapi_.store().Add(std::move(record));
        for (int i = 0; i < 500; ++i) {
            processor->ProcessMessage(mapi_.OpenMessage(id).get(), incoming, kForeground);
        }
        const auto saved = mapi_.store().Find(id);
        EXPECT_EQ(*saved->properties.Find(0x3FFF001E)->content(), incoming ? "1" : "2");
    };
    std::thread other([&] { check(false); });
    check(true);
    other.join();
    EXPECT_EQ(mapi_.live_objects(), 0u);
}

}  // namespace
}  // namespace plugins::mail_processing
