// Measures how long the add-in holds Outlook's thread when a message is opened: the time with the
// add-in and a scanner that has nothing to do, less the time without them, against the half second
// after which Outlook holds an add-in to be slow.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <optional>
#include <vector>

#include "bench/ratio.h"
#include "mapi/property_tags.h"
#include "private_include/common/product_settings.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "sandbox/demo/scenario/addin_session.h"
#include "sandbox/outlook/object_model/host_outlook.h"
#include "vek/remoting/call_wait.h"

namespace {

namespace outlook = sandbox::outlook;
namespace tag = plugins::mapi::tag;
using seconds_t = std::chrono::duration<double>;

constexpr seconds_t kTolerated{0.5};
constexpr std::size_t kMessages = 200;

// Every message was last opened long ago; the settings are as they were a moment ago.
struct LongAgo final : vek::platform::Clock {
    std::uint32_t TickCount() noexcept override { return 5000; }
    vek::platform::filetime_t UtcNow() noexcept override {
        return now += 31 * std::uint64_t{10'000'000};
    }
    std::int32_t UtcOffsetMinutes() noexcept override { return 0; }
    std::atomic<vek::platform::filetime_t> now{vek::platform::kUnixEpoch};
};

struct Settings final : vek::ObjectImpl<plugins::product::IProductSettings> {
    vek::result_t GetSettings(plugins::product::MailPluginSettings& settings) noexcept override {
        settings = {true, false, {}, {1, 1, 1}};
        return vek::result::kOk;
    }
    vek::result_t SetUserSettings(const plugins::product::MailSettings&) noexcept override {
        return vek::result::kOk;
    }
};

class Mailbox {
public:
    Mailbox() {
        product_->Offer(plugins::product::IProductSettings::kInterfaceId,
                        vek::MakeObject<Settings>());
        for (std::size_t i = 0; i < kMessages; ++i) {
            outlook::MessageRecord record;
            record.properties.Set(tag::kSenderNameW, outlook::PropertyValue::Text("A sender"));
            record.properties.Set(tag::kSubjectW, outlook::PropertyValue::Text("A subject"));
            record.properties.Set(tag::kBodyA,
                                  outlook::PropertyValue::Text(std::string(4096, 'x')));
            ids_.push_back(mapi_.store().Add(std::move(record)));
        }
    }

    bool Connect() {
        addin_.emplace(host_, services_, clock_, nullptr, plugins::mail_processing::NoObserver(),
                       vek::remoting::kEventWait);
        return SUCCEEDED(addin_->Connect());
    }

    // How long Outlook's thread is held by opening each message once.
    seconds_t OpenAll() {
        seconds_t held{};
        host_.Run([&] {
            for (const std::string& id : ids_) {
                const auto start = std::chrono::steady_clock::now();
                host_.Open(id);
                held += std::chrono::steady_clock::now() - start;
                host_.Close(id);
            }
        });
        return held;
    }

    std::size_t checked() const { return checked_; }

private:
    outlook::MapiSubsystem mapi_;
    outlook::HostOutlook host_{mapi_, "16"};
    std::vector<std::string> ids_;
    std::atomic<std::size_t> checked_{0};
    const vek::RefPtr<reference_product::InProcessProduct> product_ =
        vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>(
                [this](bool, plugins::mail_processing::IMailMessage&) {
                    ++checked_;
                    return vek::result::kOk;
                }));
    plugins::loader::ServiceAccess services_{[this](vek::RefPtr<plugins::ILoader>& loader) {
        loader = product_;
        return vek::result::kOk;
    }};
    LongAgo clock_;
    std::optional<sandbox::demo::AddinSession> addin_;
};

void OpenedMessage(benchmark::State& state) {
    Mailbox mailbox;
    mailbox.OpenAll();
    const seconds_t alone = mailbox.OpenAll() / kMessages;
    if (!mailbox.Connect()) return state.SkipWithError("the add-in does not connect");
    mailbox.OpenAll();
    std::size_t rounds = 1;
    seconds_t cost{};
    for ([[maybe_unused]] const auto _ : state) {
        cost = mailbox.OpenAll() / kMessages - alone;
        state.SetIterationTime(std::max(cost.count(), 1e-9));
        ++rounds;
    }
    if (mailbox.checked() != rounds * kMessages) state.SkipWithError("not all were checked");
    state.counters[bench::Ratio::kFloor] = kTolerated.count();
    state.counters["microseconds"] = cost.count() * 1e6;
}
BENCHMARK(OpenedMessage)->UseManualTime()->Iterations(5);

// A hundredth of what Outlook tolerates leaves the rest to the scanner.
const bench::Ratio kOpened("a message opened, the scanner's work apart, to 500 ms",
                           "OpenedMessage/iterations:5/manual_time", 0.01);

}  // namespace
