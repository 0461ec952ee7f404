#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "processing/async_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "sandbox/registry/memory_registry.h"
#include "tests/support/fake_settings.h"
#include "tests/support/mail_fixture.h"
#include "vek/core/text.h"
#include "vek/platform/flag.h"

namespace tests {

// Lets a second pass with each look.
struct SecondsClock final : FakeClock {
    std::uint32_t TickCount() noexcept override { return now += 1000; }
    std::atomic<std::uint32_t> now{0};
};

// Names Outlook as the default mail client; a change of that is a failure.
struct OutlookRegistry final : sandbox::MemoryRegistry {
    static constexpr std::u16string_view kKey = u"SOFTWARE\\Clients\\Mail";
    OutlookRegistry() {
        Set(kKey, u"", u"Microsoft Outlook");
        Refuse(Call::kSetValue, vek::platform::system_error::kAccessDenied);
    }
    ~OutlookRegistry() override { EXPECT_EQ(Text(kKey, u""), u"Microsoft Outlook"); }
};

// What an observer is told: "3 queued 00FF", "3 begun 00FF", "3 ended 0 00FF", "4 skipped 1 0
// 00FF", the last with the reason's number and the code.
using plugins::mail_processing::ObservedCheck, plugins::mail_processing::SkipReason;
inline std::string Told(const ObservedCheck& check, const std::string& what) {
    return std::to_string(check.number) + ' ' + what + ' ' + vek::ToUtf8(check.entry_id);
}
inline std::string Ended(const ObservedCheck& check, vek::result_t code) {
    return Told(check, "ended " + std::to_string(code));
}
inline std::string Skipped(const ObservedCheck& check, SkipReason reason, vek::result_t code = 0) {
    const std::string why = std::to_string(static_cast<int>(reason));
    return Told(check, "skipped " + why + ' ' + std::to_string(code));
}

// Keeps what it is told.
class RecordingObserver final : public plugins::mail_processing::CheckObserver {
public:
    using Check = ObservedCheck;
    void OnQueued(const Check& it) noexcept override { Note(Told(it, "queued")); }
    void OnBegun(const Check& it) noexcept override { Note(Told(it, "begun")); }
    void OnEnded(const Check& it, vek::result_t code) noexcept override { Note(Ended(it, code)); }
    void OnSkipped(const Check& it, SkipReason reason, vek::result_t code) noexcept override {
        Note(Skipped(it, reason, code));
    }

    // Waits until something was told that begins so and was not taken.
    void WaitFor(std::string_view beginning) {
        std::unique_lock guard(lock_);
        changed_.wait(guard, [&] {
            return std::ranges::any_of(
                told_, [&](const std::string& each) { return each.starts_with(beginning); });
        });
    }

    std::vector<std::string> Take() {
        const std::lock_guard guard(lock_);
        return std::exchange(told_, {});
    }

private:
    void Note(const std::string& told) {
        const std::lock_guard guard(lock_);
        told_.push_back(told);
        changed_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable changed_;
    std::vector<std::string> told_;
};

// The product and the surroundings that the processors work with.
struct AsyncProduct {
    std::function<vek::result_t(bool, plugins::mail_processing::IMailMessage&)> check =
        [](bool, auto&) { return vek::result::kOk; };
    std::atomic<bool> enabled{true};

    vek::RefPtr<reference_product::InProcessProduct> product =
        vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>(
                [this](bool incoming, auto& mail) { return check(incoming, mail); }));
    plugins::loader::ServiceAccess services{[this](vek::RefPtr<plugins::ILoader>& loader) {
        product->Offer(plugins::product::IProductSettings::kInterfaceId,
                       vek::MakeObject<FakeSettings>([this](auto& record) {
                           record.isPluginEnabled = enabled;
                           return vek::result::kOk;
                       }));
        loader = product;
        return vek::result::kOk;
    }};
    SecondsClock clock;
    OutlookRegistry registry;
    RecordingObserver observer;

    plugins::mail_processing::AsyncEnvironment Environment(
        const std::shared_ptr<const plugins::mapi::MapiFunctions>& functions,
        vek::platform::System& system, const vek::trace::TracerPtr& tracer, int stop_ms) {
        using namespace plugins::mail_processing;
        return {.functions = functions,
                .settings = std::make_shared<ProductSettingsProvider>(services, clock, tracer),
                .processor = MessageProcessor::Create(nullptr, functions, nullptr,
                                                      {system, clock, services, tracer, observer}),
                .system = system,
                .tracer = tracer,
                .stop_timeout = std::chrono::milliseconds{stop_ms},
                .registry = registry,
                .observer = observer};
    }
};

}  // namespace tests
