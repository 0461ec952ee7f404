// Every operation that a scanner can call, with each of its MAPI calls failing in turn.

#include "tests/model/disturbed_mail.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = outlook::Call;
using FaultMatrixTest = DisturbedMail;

result_t Expected(Rule rule, outlook_call kind, HRESULT code) {
    if (rule == Rule::kBody) return result::kNotFound;
    if (rule == Rule::kIfItOpens && kind == outlook_call::kOpenProperty) return result::kOk;
    if (rule == Rule::kNotice && kind != outlook_call::kGetProps) return result::kOk;
    if (rule == Rule::kAddress && kind == outlook_call::kQueryInterface)
        return result::kUnknownException;
    return code == MAPI_E_NOT_FOUND ? result::kPropertyNotFound : static_cast<result_t>(code);
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

}  // namespace
}  // namespace plugins::mail_processing
