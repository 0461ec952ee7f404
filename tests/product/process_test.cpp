// The plug-in's checks by a product in another process, and the end of either at any moment.

#include <gmock/gmock.h>

#include <map>
#include <thread>

#include "private_include/common/localization.h"
#include "processing/message_processor.h"
#include "product/in_process_product.h"
#include "product/kept_store.h"
#include "product/mail_scanner.h"
#include "product/process/product_process.h"
#include "product/rules.h"
#include "product/scanner_engine.h"
#include "product/state/process_start.h"
#include "tests/product/product_folder.h"
#include "tests/support/installed_product.h"
#include "tests/support/mail_fixture.h"
#include "tests/support/scoped_environment.h"
#include "vek/platform/thread.h"
#include "vek/platform/user_languages.h"

namespace plugins::mail_processing {
namespace {

namespace outlook = sandbox::outlook;
using outlook_call = outlook::Call;
using std::chrono::steady_clock;

constexpr std::string_view kRules =
    R"(when any do set-subject "[checked] {subject}", set-property 0x3FFF001E "checked"
when any do add-header "X-Checked: yes", append-notice "Checked."
when attachment-type is "text/plain" do replace-attachment "Removed.", rename-attachment "{name}.held"
when attachment-type is "image/png" do delete-attachment
)";

constexpr std::string_view kFailure = "300 CheckResultFailedException";

// The properties of a message, by the number of the attachment (0: the message's own) and the tag.
using Content = std::map<std::pair<std::size_t, ULONG>, std::optional<outlook::PropertyValue>>;

Content ContentOf(const outlook::MessageRecord& record) {
    Content content;
    for (const auto& [tag, value] : record.properties) content[{0, tag}] = value;
    for (const auto& each : record.attachments)
        for (const auto& [tag, value] : each.properties) content[{each.number + 1, tag}] = value;
    return content;
}

// Gives the properties of `after` that are not those of `before`, and nothing for lost ones.
Content Difference(const Content& before, const Content& after) {
    Content changes = after;
    for (const auto& [property, value] : before) {
        const auto found = changes.try_emplace(property).first;
        if (found->second == value) changes.erase(found);
    }
    return changes;
}

class SecondProcess : public tests::MailFixture {
protected:
    SecondProcess() {
        Set(mapi::tag::kBodyHtmlA, "<html>text</html>");
        Set(mapi::tag::kTransportMessageHeadersA, "A: b\r\nContent-Type: text/plain\r\n");
        Attach("text/plain", ATTACH_BY_VALUE, "content");
        Attach("text/plain", ATTACH_OLE, "content");
        Attach("image/png", ATTACH_BY_VALUE, std::string(2 << 20, 'x'));
        before_ = *mapi_.store().Find(entry_id_);
        using namespace reference_product;
        const auto product = vek::MakeObject<InProcessProduct>(vek::MakeObject<MailScanner>(
            std::make_shared<ScannerEngine>(ParseRules(kRules, "").rules)));
        loader::ServiceAccess services{[&](vek::RefPtr<ILoader>& loader) {
            loader = product;
            return vek::result::kOk;
        }};
        whole_ = Check(*Processor(services));
        EXPECT_GE(whole_.size(), 8u);
    }

    void Attach(const char* type, LONG method, std::string content) {
        outlook::PropertyBag data;
        data.Set(mapi::tag::kAttachMethod, outlook::PropertyValue::Long(method));
        data.Set(mapi::tag::kAttachMimeTagA, outlook::PropertyValue::Text(type));
        data.Set(mapi::tag::kAttachFilenameA, outlook::PropertyValue::Text("data.txt"));
        data.Set(mapi::tag::kAttachDataBin, outlook::PropertyValue::Binary(std::move(content)));
        Edit([&](auto& record) { record.AddAttachment(std::move(data)); });
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

    outlook::MessageRecord before_;
    Content whole_;  // by a product in this process
    tests::ProductFolder product_process_{kRules};
    tests::InstalledAt installed_{product_process_.library()};
    loader::ServiceAccess remote_services_{
        loader::ProductLoaderFactory({.registry = installed_,
                                      .tracer = tracer_,
                                      .keeper = std::make_shared<product_info::LibraryKeeper>()})};
    const std::shared_ptr<MessageProcessor> processor_ = Processor(remote_services_);
};

TEST_F(SecondProcess, ChangesMessagesAsOneInThisProcessDoes) {
    ASSERT_TRUE(product_process_.Start());
    EXPECT_EQ(Check(*processor_), whole_);
    const auto check_thrice = [&] {
        for (int i = 0; i < 3; ++i) EXPECT_EQ(Check(*processor_), whole_);
    };
    std::thread other(check_thrice);
    check_thrice();
    other.join();
    EXPECT_EQ(tracer_->Count(kFailure), 0u);
    EXPECT_EQ(product_process_.Logged("  connected: process"), 1);
    EXPECT_EQ(product_process_.Logged("  check "), 7);
    const auto items =
        reference_product::ListKept(reference_product::PathOf(product_process_.path()) / "kept");
    EXPECT_EQ(items.size(), 7 * 3u);
    EXPECT_TRUE(product_process_.Stop()) << product_process_.log();
}

// Its own is another. One that falls silent when it is told checks all the same, in English.
TEST_F(SecondProcess, KnowsTheLanguageOfItsCaller) {
    const auto texts = reference_product::PathOf(product_process_.path()) / "texts";
    std::filesystem::create_directory(texts);
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"--silent-at", "language"}}) {
        ASSERT_TRUE(product_process_.Start(arguments));
        const tests::ScopedEnvironment language("LC_ALL", "de_AT.UTF-8");
        const std::string wanted = vek::platform::UserLanguages().substr(0, 5);
        for (const std::string& tag : {std::string("en"), wanted})
            reference_product::ReplaceTextFile(texts / (tag + ".json"),
                                               R"({"rightToLeft": false, "texts": [)"
                                               R"({"resourceName": "a", "utf8Value": ")" +
                                                   tag + "\"}]}");
        EXPECT_EQ(Check(*processor_), whole_);
        std::string text;
        remote_services_.RequireService<product::ILocalization>()->GetText(1, "a", text);
        EXPECT_EQ(text, arguments.empty() ? wanted : "en");
        product_process_.Kill();
    }
    EXPECT_EQ(tracer_->Count(kFailure), 0u);
}

TEST_F(SecondProcess, MayEndAtAnyMomentAndComeBack) {
    const struct {
        const char* when;
        std::optional<outlook_call> call;  // in this one of the check; none: before the check
        std::uint32_t nth = 1;
        bool stopped = false;  // not killed
    } kStages[] = {
        {"before connecting", {}},
        {"stopped at rest", {}, 1, true},
        {"the first answer", outlook_call::kGetProps},
        {"a stream is open", outlook_call::kStreamRead, 2},
        {"changing a header, stopped", outlook_call::kSetProps, 3, true},
        {"writing an attachment", outlook_call::kStreamWrite},
        {"the notice", outlook_call::kStreamWrite, 3},
    };
    std::size_t failures = 0;
    Content changed;
    for (const auto& stage : kStages) {
        SCOPED_TRACE(stage.when);
        ASSERT_TRUE(product_process_.Start());
        if (&stage != kStages) {
            EXPECT_EQ(Check(*processor_), whole_) << "by the one that came back";
        }
        const auto end = [&] {
            EXPECT_TRUE(stage.stopped ? product_process_.Stop() : product_process_.Kill());
        };
        stage.call ? mapi_.faults().RunAtNth(*stage.call, stage.nth, end) : end();
        const Content now = Check(*processor_);
        EXPECT_EQ(tracer_->Count(kFailure), ++failures);
        // Nothing is half done, and what was done until an earlier moment is done until this one.
        for (const auto& [property, value] : now) EXPECT_EQ(whole_.at(property), value);
        for (const auto& change : changed) EXPECT_TRUE(now.contains(change.first));
        changed = now;
        mapi_.faults().Clear();
    }
    EXPECT_GT(changed.size(), whole_.size() / 2);
}

TEST(ProductProcess, SaysWhyItDoesNotRun) {
    using namespace reference_product;
    tests::ProductFolder product("no rule\n");
    const std::filesystem::path path = PathOf(product.path());
    const auto kept = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--folder", product.path(), "--kept"});
        return product.Launch(arguments)->Wait();
    };
    EXPECT_EQ(kept({"list"}), 0);
    EXPECT_EQ(kept({"restore", "1", "--to", product.path()}), 1);  // there is no such item
    EXPECT_EQ(kept({"restore", "1"}), 2);                          // to where?
    EXPECT_EQ(kept({"restore", "1x", "--to", product.path()}), 2);
    EXPECT_EQ(product.Launch({"--stop"})->Wait(), 2);  // where?
    EXPECT_EQ(product.Launch({"--folder", product.path()})->Wait(), 1);
    ReplaceTextFile(path / "sample.rules", kRules);
    ASSERT_TRUE(product.Start());
    EXPECT_EQ(product.Launch({"--folder", product.path()})->Wait(), 3);
    EXPECT_TRUE(product.Stop()) << product.log();
    EXPECT_FALSE(exists(path / "running.json") || exists(path / "stop.json"));
    EXPECT_EQ(StopProduct(path, {}), ExitCode::kStopped);

    const std::uint32_t id = vek::platform::CurrentProcessId();  // a process that does not stop
    const RunningProduct self{id, ProcessStart(id).value(), 42, 0};
    RunFolder(path).Publish(self);
    EXPECT_EQ(StopProduct(path, std::chrono::milliseconds(1)), ExitCode::kDoesNotStop);
    EXPECT_TRUE(RunFolder(path).StopRequested(self));
}

}  // namespace
}  // namespace plugins::mail_processing
