#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <string_view>

#include "mapi/property_tags.h"
#include "model/owner_thread.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "tests/support/fake_clock.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/current_exception.h"
#include "vek/core/object.h"

namespace tests {

namespace outlook = sandbox::outlook;
namespace tag = plugins::mapi::tag;

// The owner thread of a test without any other: calls are simply made.
class InlineOwner final : public plugins::mail_processing::OwnerThread {
public:
    vek::result_t Invoke(vek::FunctionRef<void()> call) override {
        try {
            call();
            return vek::result::kOk;
        } catch (...) {
            return vek::CurrentExceptionResult();
        }
    }
};

// A MAPI subsystem with one message in its store.
class MailFixture : public ::testing::Test {
protected:
    MailFixture() {
        functions_->initialize(nullptr);
        outlook::MessageRecord record;
        record.properties.Set(tag::kSubjectW, outlook::PropertyValue::Text("Hello"));
        record.properties.Set(tag::kBodyA, outlook::PropertyValue::Text("plain text"));
        record.properties.Set(tag::kSenderNameA, outlook::PropertyValue::Text("Ann"));
        record.properties.Set(tag::kSenderAddrTypeA, outlook::PropertyValue::Text("SMTP"));
        record.properties.Set(tag::kSenderEmailAddressA,
                              outlook::PropertyValue::Text("ann@example.com"));
        // 5 March 2024, 08:07:02 UTC
        record.properties.Set(tag::kClientSubmitTime,
                              outlook::PropertyValue::Time(133'540'996'220'000'000));
        entry_id_ = mapi_.store().Add(std::move(record));
        clock_.offset_minutes = 60;
    }

    ~MailFixture() override {
        EXPECT_EQ(mapi_.live_objects(), 0u) << "interface objects left";
        EXPECT_EQ(mapi_.memory().LiveBuffers(), 0u) << "MAPI buffers left";
        EXPECT_EQ(mapi_.foreign_calls(), 0u) << "calls from a foreign thread";
        EXPECT_EQ(vek::LiveObjectCount(), live_before_);
    }

    // Changes the stored message before it is opened.
    void Edit(const std::function<void(outlook::MessageRecord&)>& change) {
        outlook::MessageRecord record = *mapi_.store().Find(entry_id_);
        change(record);
        mapi_.store().Put(entry_id_, std::move(record));
    }
    void Set(ULONG property, const outlook::PropertyValue& value) {
        Edit([&](auto& record) { record.properties.Set(property, value); });
    }
    void Set(ULONG property, std::string text) {
        Set(property, outlook::PropertyValue::Text(std::move(text)));
    }
    void Erase(ULONG property) {
        Edit([&](auto& record) { record.properties.Erase(property); });
    }

    // The text of a saved property, or "(none)".
    std::string Saved(ULONG property) const {
        const auto record = const_cast<MailFixture*>(this)->mapi_.store().Find(entry_id_);
        const auto* value = record->properties.Find(property);
        return value == nullptr ? "(none)" : *value->content();
    }

    std::uint32_t Calls(outlook::Call kind) { return mapi_.faults().Count(kind); }

    const std::uint32_t live_before_ = vek::LiveObjectCount();
    outlook::MapiSubsystem mapi_;
    std::shared_ptr<const plugins::mapi::MapiFunctions> functions_ =
        std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions());
    std::shared_ptr<RecordingTracer> tracer_ = std::make_shared<RecordingTracer>();
    FakeClock clock_;
    std::string entry_id_;
};

}  // namespace tests
