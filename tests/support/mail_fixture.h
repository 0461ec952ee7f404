#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "mapi/property_tags.h"
#include "model/mail_message_impl.h"
#include "model/owner_thread.h"
#include "sandbox/outlook/code_page.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "tests/support/fake_clock.h"
#include "tests/support/recording_tracer.h"
#include "tests/support/wait_until.h"
#include "vek/core/current_exception.h"
#include "vek/core/object.h"
#include "vek/trace/line.h"

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

// The store that this run of the tests is for: that which MLXO_STORE names.
inline const outlook::StoreTraits& TheStore() {
    const char* const name = std::getenv("MLXO_STORE");
    const outlook::StoreTraits* const store = outlook::FindStore(name != nullptr ? name : "plain");
    return store != nullptr ? *store : throw std::logic_error("there is no such store");
}

// A MAPI subsystem with one message in its store.
class MailFixture : public ::testing::Test {
protected:
    using Value = outlook::PropertyValue;
    static Value Text(std::string text) { return Value::Text(std::move(text)); }
    static Value Binary(const std::vector<std::byte>& bytes) {
        return Value::Binary({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }
    // A text as this store shows it to callers without Unicode.
    static std::string Narrow(std::string text) {
        return *outlook::ToCodePage(std::make_shared<std::string>(std::move(text)),
                                    TheStore().code_page);
    }
    static outlook::PropertyBag Bag(std::initializer_list<std::pair<ULONG, Value>> values) {
        outlook::PropertyBag bag;
        for (const auto& [property, value] : values) bag.Set(property, value);
        return bag;
    }

    MailFixture() {
        functions_->initialize(nullptr);
        outlook::MessageRecord record;
        record.properties = Bag({{tag::kSubjectW, Text("Hello")},
                                 {tag::kBodyA, Text("plain text")},
                                 {tag::kSenderNameA, Text("Ann")},
                                 {tag::kSenderAddrTypeA, Text("SMTP")},
                                 {tag::kSenderEmailAddressA, Text("ann@example.com")},
                                 // 5 March 2024, 08:07:02 UTC
                                 {tag::kClientSubmitTime, Value::Time(133'540'996'220'000'000)}});
        entry_id_ = mapi_.store().Add(std::move(record));
        clock_.offset_minutes = 60;
    }

    ~MailFixture() override {
        EXPECT_EQ(mapi_.live_objects(), 0u) << "interface objects left";
        EXPECT_EQ(mapi_.memory().LiveBuffers(), 0u) << "MAPI buffers left";
        EXPECT_EQ(mapi_.foreign_calls(), 0u) << "calls from a foreign thread";
        EXPECT_EQ(mapi_.outliving_objects(), 0u);
        // Connections that have ended say so to their peers on threads that count.
        EXPECT_TRUE(WaitUntil([this] { return vek::LiveObjectCount() <= live_before_; }));
    }

    // Changes the stored message before it is opened.
    void Edit(const std::function<void(outlook::MessageRecord&)>& change) {
        outlook::MessageRecord record = *mapi_.store().Find(entry_id_);
        change(record);
        mapi_.store().Put(entry_id_, std::move(record));
    }
    void Set(ULONG property, const Value& value) {
        Edit([&](auto& record) { record.properties.Set(property, value); });
    }
    void Set(ULONG property, std::string text) { Set(property, Text(std::move(text))); }
    void Erase(ULONG property) {
        Edit([&](auto& record) { record.properties.Erase(property); });
    }

    // The text of a saved property, or "(none)".
    std::string Saved(ULONG property) {
        const auto record = mapi_.store().Find(entry_id_);
        const auto* value = record->properties.Find(property);
        return value == nullptr ? "(none)" : *value->content();
    }

    std::uint32_t Calls(outlook::Call kind) { return mapi_.faults().Count(kind); }

    const std::uint32_t live_before_ = vek::LiveObjectCount();
    outlook::MapiSubsystem mapi_{TheStore()};
    std::shared_ptr<const plugins::mapi::MapiFunctions> functions_ =
        std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions());
    std::shared_ptr<RecordingTracer> tracer_ = std::make_shared<RecordingTracer>();
    FakeClock clock_;
    std::string entry_id_;
};

}  // namespace tests

namespace plugins::mail_processing {

// A mail object, and of it one body or attachment with an open stream.
class ContentFixture : public tests::MailFixture {
protected:
    static constexpr std::uint32_t kRead = access_mode::kRead;
    static constexpr std::uint32_t kReadWrite = access_mode::kRead | access_mode::kWrite;

    void TearDown() override { Close(); }

    void OpenMail() {
        Close();
        mail_ = vek::MakeObject<MailMessageImpl>(mapi_.OpenMessage(entry_id_), mapi_.OpenSession(),
                                                 functions_, tracer_, owner_, clock_, limits_);
    }
    void Close() {
        stream_.reset();
        one_.reset();
        all_.reset();
        mail_.reset();
    }

    // The text that a reading operation gives, or its code as "0x...".
    template <class Object, class Interface, class Text>
    static std::string TextOf(const vek::RefPtr<Object>& object,
                              vek::result_t (Interface::*operation)(Text&) noexcept) {
        Text value{};
        const vek::result_t code = (object.get()->*operation)(value);
        std::string text;
        vek::Failed(code) ? vek::trace::AppendPiece(text, vek::trace::Hex(code))
                          : vek::trace::AppendPiece(text, value);
        return text;
    }

    vek::result_t OpenStream(std::uint32_t access, std::uint32_t mode = 0) {
        return one_->OpenStream(access, mode, stream_.put());
    }
    vek::result_t Write(std::string_view text) {
        std::uint32_t written = 0;
        const vek::result_t code = stream_->Write(std::as_bytes(std::span(text)), written);
        EXPECT_EQ(written, vek::Failed(code) ? 0 : text.size());
        return code;
    }
    std::string Read(std::size_t size = 1 << 16) {
        std::string content(size, '\0');
        std::uint32_t read = 0;
        EXPECT_EQ(stream_->Read(std::as_writable_bytes(std::span(content)), read),
                  vek::result::kOk);
        return content.substr(0, read);
    }

    std::shared_ptr<tests::InlineOwner> owner_ = std::make_shared<tests::InlineOwner>();
    CheckLimits limits_;
    vek::RefPtr<MailMessageImpl> mail_;
    vek::RefPtr<IAttachmentsEnum> all_;
    vek::RefPtr<IPropertyProvider> one_;
    vek::RefPtr<IDataStream> stream_;
};

}  // namespace plugins::mail_processing
