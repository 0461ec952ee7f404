// The plug-in's checks by a product in another process, and the end of either at any moment.

#include <gmock/gmock.h>

#include <map>
#include <thread>

#include "product/rules.h"
#include "product/scanner_engine.h"
#include "tests/model/disturbed_mail.h"
#include "tests/product/product_folder.h"

namespace plugins::mail_processing {
namespace {

using outlook_call = outlook::Call;
using std::chrono::steady_clock;

constexpr std::string_view kRules =
    R"(when any do set-subject "[checked] {subject}", set-property 0x3FFF001E "checked"
when any do add-header "X-Checked: yes", append-notice "Checked."
when attachment-type is "text/plain" do replace-attachment "Removed.", rename-attachment "{name}.held"
when attachment-type is "image/png" do delete-attachment
)";

constexpr std::string_view kFailure = "300 CheckResultFailedException";

// What a message holds, by place.
using Content = std::map<std::string, std::optional<outlook::PropertyValue>>;

void Add(const outlook::PropertyBag& properties, const std::string& place, Content& content) {
    for (const auto& [property, value] : properties)
        content.emplace(place + std::to_string(property), value);
}

Content ContentOf(const outlook::MessageRecord& record) {
    Content content;
    Add(record.properties, "", content);
    for (const auto& each : record.attachments)
        Add(each.properties, std::to_string(each.number) + " ", content);
    return content;
}

// What is different, as it is in `after`.
Content Difference(const Content& before, const Content& after) {
    Content changes;
    for (const auto& [place, value] : after)
        if (const auto old = before.find(place); old == before.end() || old->second != value)
            changes.emplace(place, value);
    for (const auto& [place, value] : before)
        if (!after.contains(place)) changes.emplace(place, std::nullopt);
    return changes;
}

class SecondProcess : public DisturbedMail {
protected:
    SecondProcess() {
        Edit([](outlook::MessageRecord& record) {
            outlook::PropertyBag image;
            image.Set(mapi::tag::kAttachMethod, outlook::PropertyValue::Long(ATTACH_BY_VALUE));
            image.Set(mapi::tag::kAttachMimeTagA, outlook::PropertyValue::Text("image/png"));
            image.Set(mapi::tag::kAttachDataBin,
                      outlook::PropertyValue::Binary(std::string(2 << 20, 'x')));
            record.AddAttachment(std::move(image));
        });
        before_ = *mapi_.store().Find(entry_id_);
        script_ = [](bool incoming, IMailMessage& mail) {
            const reference_product::ScannerEngine engine(
                reference_product::ParseRules(kRules, "").rules);
            return engine.Check(incoming, mail).result;
        };
        whole_ = Check(*Processor(services_));
        EXPECT_GE(whole_.size(), 8u);
    }

    std::shared_ptr<MessageProcessor> Processor(loader::ServiceAccess& services) {
        return MessageProcessor::Create(nullptr, functions_, nullptr,
                                        {vek::platform::TheSystem(), clock_, services, tracer_});
    }

    // What a check of the message has changed.
    Content Check(MessageProcessor& processor) {
        const std::string id = mapi_.store().Add(before_);
        const auto start = steady_clock::now();
        processor.ProcessMessage(mapi_.OpenMessage(id).get(), kIncoming, kForeground);
        EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(5));
        const auto saved = mapi_.store().Find(id);
        mapi_.store().Remove(id);
        return Difference(ContentOf(before_), ContentOf(*saved));
    }

    Content whole_;  // by a product in this process
    tests::ProductFolder product_process_{kRules};
    tests::InstalledAt installed_{product_process_.library()};
    loader::ServiceAccess remote_services_{
        loader::ProductLoaderFactory({.registry = installed_, .tracer = tracer_})};
    const std::shared_ptr<MessageProcessor> processor_ = Processor(remote_services_);
};

TEST_F(SecondProcess, ChangesMessagesAsOneInThisProcessDoes) {
    ASSERT_TRUE(product_process_.Start());
    EXPECT_EQ(Check(*processor_), whole_);
    std::thread other([&] {
        for (int i = 0; i < 3; ++i) EXPECT_EQ(Check(*processor_), whole_);
    });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Check(*processor_), whole_);
    other.join();
    EXPECT_EQ(tracer_->Count(kFailure), 0u);
    EXPECT_EQ(product_process_.Logged("  connected: process"), 1);
    EXPECT_TRUE(product_process_.Stop()) << product_process_.log();
}

TEST_F(SecondProcess, MayEndAtAnyMomentAndComeBack) {
    enum End { kKilled, kKilledMeanwhile, kStopped };
    const struct {
        const char* when;
        std::optional<outlook_call> call;  // in this one of the check; none: before the check
        std::uint32_t nth = 1;
        End end = kKilled;
    } kStages[] = {
        {"before connecting", {}},
        {"at rest", {}},
        {"stopped at rest", {}, 1, kStopped},
        {"the first answer", outlook_call::kGetProps},
        {"opening a stream", outlook_call::kOpenProperty},
        {"a stream is open", outlook_call::kStreamRead, 2},
        {"a stream is open, stopped", outlook_call::kStreamRead, 2, kStopped},
        {"the enumerator is open", outlook_call::kQueryRows},
        {"opening an attachment", outlook_call::kOpenAttach},
        {"the scanner is busy", outlook_call::kStreamRead, 10, kKilledMeanwhile},
        {"the first change", outlook_call::kSetProps},
        {"changing a header", outlook_call::kSetProps, 3},
        {"changing a header, stopped", outlook_call::kSetProps, 3, kStopped},
        {"writing an attachment", outlook_call::kStreamWrite},
        {"its end", outlook_call::kStreamCommit},
        {"renaming it", outlook_call::kSetProps, 4},
        {"deleting the third", outlook_call::kDeleteAttach},
        {"the notice", outlook_call::kStreamWrite, 3},
    };
    std::size_t failures = 0;
    Content changed;
    for (const auto& stage : kStages) {
        SCOPED_TRACE(stage.when);
        ASSERT_TRUE(product_process_.Start());
        if (&stage != kStages) {
            EXPECT_EQ(Check(*processor_), whole_) << "by the one that came back";
            EXPECT_EQ(tracer_->Count(kFailure), failures);
        }
        std::thread meanwhile;
        bool ended = false;
        const auto end = [&] {
            ended = true;
            if (stage.end == kStopped) {
                EXPECT_TRUE(product_process_.Stop()) << product_process_.log();
            } else if (stage.end == kKilled) {
                product_process_.Kill();
            } else {
                meanwhile = std::thread([&] { product_process_.Kill(); });
                // At the latest.
                mapi_.faults().RunAtNth(outlook_call::kSetProps, 1, [&] { meanwhile.join(); });
            }
        };
        if (stage.call) {
            mapi_.faults().RunAtNth(*stage.call, stage.nth, end);
        } else {
            end();
        }
        const Content now = Check(*processor_);
        if (meanwhile.joinable()) meanwhile.join();
        EXPECT_TRUE(ended);
        EXPECT_EQ(tracer_->Count(kFailure), ++failures);
        EXPECT_EQ(mapi_.live_objects(), 0u);
        EXPECT_EQ(mapi_.memory().LiveBuffers(), 0u);
        // Nothing is half done, and what was done until an earlier moment is done until this one.
        for (const auto& [place, value] : now) EXPECT_EQ(whole_.at(place), value) << place;
        for (const auto& [place, value] : changed) EXPECT_TRUE(now.contains(place)) << place;
        changed = now;
        mapi_.faults().Clear();
    }
    EXPECT_GT(changed.size(), whole_.size() / 2);
    ASSERT_TRUE(product_process_.Start());
    EXPECT_EQ(Check(*processor_), whole_);
    EXPECT_TRUE(product_process_.Stop()) << product_process_.log();
}

TEST_F(SecondProcess, LetsGoOfAPlugInThatIsKilled) {
    ASSERT_TRUE(product_process_.Start());
    int gone = 0;
    for (const std::string& place :
         {std::string("idle"), std::to_string(static_cast<int>(outlook_call::kGetProps)),
          std::to_string(static_cast<int>(outlook_call::kStreamRead)),
          std::to_string(static_cast<int>(outlook_call::kOpenAttach)),
          std::to_string(static_cast<int>(outlook_call::kSetProps))}) {
        SCOPED_TRACE(place);
        const std::filesystem::path reached = product_process_.library() + ".reached";
        const auto peer = sandbox::StartProgram(sandbox::ProgramFolder() / "plugin_peer",
                                                {product_process_.library(), place});
        ASSERT_TRUE(product_process_.Soon([&] { return exists(reached); }));
        peer->Kill();
        ++gone;
        EXPECT_TRUE(product_process_.Soon([&] {
            return product_process_.Logged("disconnected: process") == gone;
        })) << product_process_.log();
        remove(reached);
        EXPECT_EQ(Check(*processor_), whole_) << "for another";
    }
    EXPECT_TRUE(product_process_.Stop()) << product_process_.log();
}

}  // namespace
}  // namespace plugins::mail_processing
