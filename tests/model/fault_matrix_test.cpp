// Every operation that a scanner can call, with each of its MAPI calls failing in turn, and with
// answers that no sound store gives: nothing may crash, hang or grow without bound on them.

#include "sandbox/outlook/compressed_rtf.h"
#include "tests/model/scanner_operations.h"
#include "tests/support/content_fixture.h"

namespace plugins::mail_processing {
namespace {

namespace outlook = sandbox::outlook;
namespace result = vek::result;
using outlook::Distortion;
using outlook_call = outlook::Call;

// The disturbance while an operation runs.
struct Disturbance {
    std::uint32_t nth = 0;  // of the calls; 0 for none
    HRESULT code = S_OK;
    ULONG read_limit = 0;  // 0 for none
    bool again = false;    // whether the operation is tried once more after its failure
};

// The result of an operation.
struct Outcome {
    result_t code = result::kUnspecifiedError;
    std::string value;
    std::optional<outlook::Call> failed;  // in the operation, not in what ends the check
    std::uint32_t calls = 0;              // of MAPI, until the check has ended
    bool changed = false;                 // a call that changes the message has succeeded
    outlook::MessageRecord stored;
};

// Runs operations on one message through a whole check, with disturbances.
class FaultMatrixTest : public ContentFixture {
protected:
    FaultMatrixTest() {
        const std::pair<ULONG, const char*> texts[] = {
            {mapi::tag::kBodyHtmlA, "<html>text</html>"},
            {mapi::tag::kTransportMessageHeadersA, "A: b\r\nContent-Type: text/plain\r\n"},
            {mapi::tag::kDisplayToA, "Bob"},
            {mapi::tag::kDisplayCcA, "Cy"},
            {mapi::tag::kSentRepresentingNameA, "Boss"},
            {mapi::tag::kInternetMessageIdA, "<1@example.com>"}};
        for (const auto& [property, text] : texts) Set(property, text);
        Edit([](outlook::MessageRecord& record) {
            const auto rich = outlook::CompressRtf("{\\rtf1 some old text}");
            record.properties.Set(mapi::tag::kRtfCompressed,
                                  outlook::PropertyValue::Binary(
                                      {reinterpret_cast<const char*>(rich.data()), rich.size()}));
            record.properties.Set(mapi::tag::kSenderEntryId,
                                  outlook::PropertyValue::Binary(std::string("ann")));
            const std::pair<std::int32_t, const char*> recipients[] = {
                {MAPI_TO, "Bob"},
                {MAPI_CC, "Cy"},
                {MAPI_TO, "without an address"},
                {MAPI_TO, "Di"}};
            for (const auto& [type, name] : recipients) {
                outlook::PropertyBag& row = record.recipients.emplace_back();
                row.Set(mapi::tag::kRecipientType, outlook::PropertyValue::Long(type));
                row.Set(mapi::tag::kDisplayNameA, outlook::PropertyValue::Text(name));
                row.Set(mapi::tag::kAddrTypeA, outlook::PropertyValue::Text("SMTP"));
                if (std::string_view(name).size() > 3) continue;
                row.Set(mapi::tag::kEmailAddressA, outlook::PropertyValue::Text("bob@example.com"));
            }
            for (const ULONG method : {ATTACH_BY_VALUE, ATTACH_OLE}) {
                outlook::PropertyBag data;
                data.Set(mapi::tag::kAttachMethod,
                         outlook::PropertyValue::Long(static_cast<LONG>(method)));
                data.Set(mapi::tag::kAttachDataBin,
                         outlook::PropertyValue::Binary(std::string("content")));
                data.Set(mapi::tag::kDisplayNameA, outlook::PropertyValue::Text("Data"));
                data.Set(mapi::tag::kAttachFilenameA, outlook::PropertyValue::Text("data.txt"));
                data.Set(mapi::tag::kAttachMimeTagA, outlook::PropertyValue::Text("text/plain"));
                record.AddAttachment(std::move(data));
            }
        });
        outlook::PropertyBag user;
        user.Set(mapi::tag::kSmtpAddressA, outlook::PropertyValue::Text("ann@real.example.com"));
        mapi_.store().PutUser("ann", user);
        before_ = *mapi_.store().Find(entry_id_);
    }

    // How often the message was changed in a way that a save keeps.
    std::uint32_t Changes() {
        std::uint32_t changes = 0;
        const auto failed = mapi_.faults().Failed();
        for (const auto kind : {outlook::Call::kSetProps, outlook::Call::kDeleteProps,
                                outlook::Call::kDeleteAttach, outlook::Call::kStreamCommit}) {
            changes += Calls(kind);
            changes -= static_cast<std::uint32_t>(std::count(failed.begin(), failed.end(), kind));
        }
        return changes;
    }

    Outcome Run(const Operation& operation, const Disturbance& how = {}) {
        Outcome outcome;
        auto& faults = mapi_.faults();
        mapi_.store().Put(entry_id_, before_);
        std::uint32_t calls = 0;
        std::uint32_t changes = 0;
        const std::size_t failures = faults.Failed().size();
        bool tried = false;
        OpenMail();
        Scan scan{mail_,
                  [&] {
                      calls = faults.Total();
                      changes = Changes();
                      if (how.nth != 0) faults.FailNthOfAll(how.nth, how.code);
                      if (how.read_limit != 0) faults.LimitReads(how.read_limit);
                  },
                  [&] {
                      if (std::exchange(tried, true)) return false;
                      outcome.changed = Changes() != changes;
                      if (faults.Failed().size() == failures) return false;
                      outcome.failed = faults.Failed().back();
                      return how.again;
                  }};
        outcome.code = operation.run(scan);
        outcome.value = scan.value;
        EXPECT_TRUE(!vek::Failed(outcome.code) || scan.value == Scan::kUntouched) << scan.value;
        scan.mail.reset();
        Close();
        faults.Clear();
        outcome.calls = faults.Total() - calls;
        outcome.stored = *mapi_.store().Find(entry_id_);
        EXPECT_EQ(mapi_.live_objects(), 0u);
        EXPECT_EQ(mapi_.memory().LiveBuffers(), 0u);
        EXPECT_EQ(mapi_.memory().BadFrees(), 0u);
        return outcome;
    }

    outlook::MessageRecord before_;
};

result_t Expected(Rule rule, outlook_call kind, HRESULT code) {
    if (rule == Rule::kBody) return result::kNotFound;
    if (rule == Rule::kIfItOpens && kind == outlook_call::kOpenProperty) return result::kOk;
    if (rule == Rule::kNotice && kind != outlook_call::kGetProps) return result::kOk;
    if (rule == Rule::kAddress && kind == outlook_call::kQueryInterface)
        return result::kUnknownException;
    return static_cast<result_t>(code);
}

bool Same(const outlook::MessageRecord& a, const outlook::MessageRecord& b) {
    return a.properties == b.properties &&
           std::equal(a.attachments.begin(), a.attachments.end(), b.attachments.begin(),
                      b.attachments.end(), [](const auto& x, const auto& y) {
                          return x.number == y.number && x.properties == y.properties;
                      });
}

TEST_F(FaultMatrixTest, EachFailureShowsAsPromisedAndLeavesEverythingInOrder) {
    std::uint32_t calls = 0;
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        const Outcome whole = Run(operation);
        if (operation.value != nullptr) {
            EXPECT_EQ(whole.value, operation.value);
        }
        calls += whole.calls;
        const bool notice = operation.rule == Rule::kNotice;
        // The HTML body has the notice, the plain one does not: trying again finds it there, and
        // leaves both as they are.
        outlook::MessageRecord half = before_;
        const auto* html = whole.stored.properties.Find(mapi::tag::kBodyHtmlA);
        half.properties.Set(mapi::tag::kBodyHtmlA, *html);
        for (std::uint32_t nth = 1; nth <= whole.calls; ++nth) {
            for (const HRESULT code :
                 {E_FAIL, static_cast<HRESULT>(MAPI_E_NOT_FOUND),
                  static_cast<HRESULT>(MAPI_E_NO_ACCESS), static_cast<HRESULT>(E_OUTOFMEMORY)}) {
                SCOPED_TRACE(testing::Message() << "call " << nth << " code " << code);
                const Outcome once = Run(operation, {nth, code});
                if (once.failed) {
                    EXPECT_EQ(once.code, Expected(operation.rule, *once.failed, code))
                        << static_cast<int>(*once.failed);
                } else {  // it fails behind the operation
                    EXPECT_EQ(once.code, whole.code);
                    EXPECT_EQ(once.value, whole.value);
                }
                const bool changed = once.changed && once.failed;
                EXPECT_TRUE(notice ? Same(once.stored, changed ? half : before_)
                                   : changed || Same(once.stored, before_));

                const Outcome again = Run(operation, {nth, code, 0, true});
                EXPECT_EQ(again.code, whole.code);
                EXPECT_EQ(again.value, whole.value);
                const bool stays_half = notice && again.changed;
                EXPECT_TRUE(!again.failed || Same(again.stored, stays_half ? half : whole.stored));
            }
        }
    }
    EXPECT_GT(calls, 150u) << "the operations do not reach MAPI";
}

TEST_F(FaultMatrixTest, ShortReadsChangeNothing) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        const Outcome whole = Run(operation);
        const Outcome outcome = Run(operation, {0, S_OK, 3});
        EXPECT_EQ(outcome.code, whole.code);
        EXPECT_EQ(outcome.value, whole.value);
        EXPECT_TRUE(Same(outcome.stored, whole.stored));
    }
}

// A call that claims success and does and gives nothing: objects, rows, values are missing.
TEST_F(FaultMatrixTest, CallsThatSucceedWithNothingDoNoHarm) {
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        const std::uint32_t calls = Run(operation).calls;
        for (std::uint32_t nth = 1; nth <= calls; ++nth) {
            Run(operation, {nth, static_cast<HRESULT>(MAPI_W_ERRORS_RETURNED), 0, true});
        }
    }
}

constexpr ULONG kHuge = 0xFFFFFFFF;

void MakeWrong(SPropValue& value, ULONG type, ULONG bits) {
    value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, type);
    value.Value.cur.int64 = 0;
    value.Value.bin.lpb = nullptr;
    value.Value.bin.cb = bits;
}

TEST_F(FaultMatrixTest, WrongAnswersDoNoHarm) {
    const auto every = [](ULONG type, ULONG bits) -> Distortion {
        return {[=](SPropValue* values, ULONG& count) {
                    for (ULONG i = 0; i != count; ++i) MakeWrong(values[i], type, bits);
                },
                [=](SRow& row) {
                    for (ULONG i = 0; i != row.cValues; ++i) MakeWrong(row.lpProps[i], type, bits);
                }};
    };
    const auto values = [](void (*change)(SPropValue&)) -> Distortion {
        return {[=](SPropValue* given, ULONG&) { change(*given); }, {}};
    };
    const auto row = [](void (*change)(SRow&)) -> Distortion { return {{}, change}; };
    const auto size = [](std::uint64_t bytes) -> Distortion {
        return {{}, {}, [=](std::uint64_t& shown) { shown = bytes; }};
    };
    const auto reads = [](ULONG given, ULONG shown) -> Distortion {
        return {{}, {}, {}, [=](std::span<std::byte> buffer) -> std::optional<ULONG> {
                    if (buffer.size() > 60'000) return std::nullopt;  // not the subsystem's own
                    std::fill_n(buffer.begin(), std::min<std::size_t>(given, buffer.size()),
                                std::byte{'x'});
                    return shown;
                }};
    };
    Distortion endless = reads(3, 3);
    endless.stream_size = size(std::uint64_t{1} << 40).stream_size;
    const std::pair<const char*, Distortion> cases[] = {
        {"no values", {[](SPropValue*, ULONG& count) { count = 0; }}},
        {"not enough memory", every(PT_ERROR, static_cast<ULONG>(MAPI_E_NOT_ENOUGH_MEMORY))},
        {"an error that is none", every(PT_ERROR, 0)},
        {"not found", every(PT_ERROR, static_cast<ULONG>(MAPI_E_NOT_FOUND))},
        {"no narrow text", every(PT_STRING8, 0)},
        {"no wide text", every(PT_UNICODE, 0)},
        {"an empty binary", every(PT_BINARY, 0)},
        {"a huge binary", every(PT_BINARY, kHuge)},
        {"numbers", every(PT_LONG, kHuge)},
        {"booleans", every(PT_BOOLEAN, kHuge)},
        {"times", every(PT_SYSTIME, kHuge)},
        {"times without end", values([](SPropValue& value) {
             MakeWrong(value, PT_SYSTIME, 0);
             value.Value.ft = {kHuge, kHuge};
         })},
        {"unknown types", every(PT_CLSID, 0)},
        {"arrays", every(0x101F, kHuge)},
        {"texts that end early", values([](SPropValue& value) {
             if (PROP_TYPE(value.ulPropTag) == PT_STRING8) value.Value.lpszA[0] = '\0';
         })},
        {"rows without columns", row([](SRow& given) { given.cValues = 0; })},
        {"rows of one column", row([](SRow& given) { given.cValues = 1; })},
        {"other columns", row([](SRow& given) { given.lpProps[0].ulPropTag = 0; })},
        {"texts that are nowhere in a row", row([](SRow& given) {
             for (ULONG i = 1; i < given.cValues; ++i) given.lpProps[i].Value.lpszA = nullptr;
         })},
        {"rows that are nowhere",
         {{}, [&](SRow& given) { mapi_.memory().Free(std::exchange(given.lpProps, nullptr)); }}},
        {"streams that seem empty", size(0)},
        {"streams that seem short", size(5)},
        {"streams that seem long", size(5000)},
        {"streams that seem endless", size(std::uint64_t{1} << 40)},
        {"streams that are endless", reads(kHuge, 3)},
        {"streams that are and seem endless", endless},
        {"reads of more than was asked for", reads(kHuge, kHuge)},
    };
    for (const auto& [name, distortion] : cases) {
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(testing::Message() << operation.name << ": " << name);
            mapi_.distortion() = distortion;
            const Outcome outcome = Run(operation);
            mapi_.distortion() = {};
            // The notice goes in whole or not at all.
            if (operation.rule != Rule::kNotice) continue;
            const auto* body = outcome.stored.properties.Find(mapi::tag::kBodyA);
            EXPECT_EQ(body->content()->substr(0, 10), "plain text");
        }
    }
}

}  // namespace
}  // namespace plugins::mail_processing
