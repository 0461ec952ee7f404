#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>

#include "processing/message_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "sandbox/outlook/compressed_rtf.h"
#include "tests/model/scanner_operations.h"
#include "tests/support/mail_fixture.h"

namespace plugins::mail_processing {

namespace outlook = sandbox::outlook;

namespace result = vek::result;

// What goes wrong while an operation runs.
struct Disturbance {
    std::uint32_t nth = 0;  // of the calls; 0 for none
    HRESULT code = S_OK;
    ULONG read_limit = 0;  // 0 for none
    bool again = false;    // whether the operation is tried once more after its failure
};

// What came of it.
struct Outcome {
    result_t code = result::kUnspecifiedError;
    std::string value;
    std::optional<outlook::Call> failed;  // in the operation, not in what ends the check
    std::uint32_t calls = 0;              // of MAPI, until the check has ended
    bool changed = false;                 // a call that changes the message has succeeded
    outlook::MessageRecord stored;
};

// Runs operations on one message through a whole check, with disturbances.
class DisturbedMail : public tests::MailFixture {
protected:
    DisturbedMail() {
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
            for (const std::int32_t type : {MAPI_TO, MAPI_CC}) {
                outlook::PropertyBag& row = record.recipients.emplace_back();
                row.Set(mapi::tag::kRecipientType, outlook::PropertyValue::Long(type));
                row.Set(mapi::tag::kDisplayNameA, outlook::PropertyValue::Text("Bob"));
                row.Set(mapi::tag::kAddrTypeA, outlook::PropertyValue::Text("SMTP"));
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
        script_ = [&](bool, IMailMessage& mail) {
            bool tried = false;
            Scan scan{RefPtr<IMailMessage>::Share(&mail),
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
            return result::kOk;
        };
        const auto processor =
            MessageProcessor::Create(nullptr, functions_, nullptr,
                                     {vek::platform::TheSystem(), clock_, services_,
                                      std::make_shared<tests::RecordingTracer>()});
        processor->ProcessMessage(mapi_.OpenMessage(entry_id_).get(), kIncoming, kForeground);
        faults.Clear();
        outcome.calls = faults.Total() - calls;
        outcome.stored = *mapi_.store().Find(entry_id_);
        EXPECT_EQ(mapi_.live_objects(), 0u);
        EXPECT_EQ(mapi_.memory().LiveBuffers(), 0u);
        EXPECT_EQ(mapi_.memory().BadFrees(), 0u);
        return outcome;
    }

    outlook::MessageRecord before_;
    std::function<result_t(bool, IMailMessage&)> script_;
    RefPtr<reference_product::InProcessProduct> product_ =
        vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>(
                [this](bool incoming, IMailMessage& mail) { return script_(incoming, mail); }));
    loader::ServiceAccess services_{[this](RefPtr<ILoader>& loader) {
        loader = product_;
        return result::kOk;
    }};
};

}  // namespace plugins::mail_processing
