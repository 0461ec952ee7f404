#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "processing/async_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "tests/support/fake_settings.h"
#include "tests/support/mail_fixture.h"
#include "tests/support/recording_observer.h"
#include "vek/platform/flag.h"

namespace tests {

// A second passes whenever somebody looks.
struct SecondsClock final : FakeClock {
    std::uint32_t TickCount() noexcept override { return now += 1000; }
    std::atomic<std::uint32_t> now{0};
};

// Outlook is the default mail client, which nobody is to change.
struct OutlookRegistry final : vek::platform::Registry {
    using Error = vek::platform::system_error_t;
    using Root = vek::platform::RegistryRoot;
    using View = std::string_view;
    Error ReadText(Root, View, View, std::string& value) override {
        value = "Microsoft Outlook";
        return vek::platform::system_error::kNone;
    }
    Error WriteText(Root, View, View, View) override { return DeleteValue({}, {}, {}); }
    Error DeleteValue(Root, View, View) override {
        ADD_FAILURE() << "the default mail client is changed";
        return vek::platform::system_error::kAccessDenied;
    }
};

// The product that an async processor works with: it keeps the subjects of what it checks.
struct AsyncProduct {
    using Mail = plugins::mail_processing::IMailMessage;
    std::function<void(Mail&)> during_check = [](Mail&) {};
    std::atomic<bool> enabled{true};
    std::mutex lock;
    std::vector<std::u16string> checked;

    vek::RefPtr<reference_product::InProcessProduct> product =
        vek::MakeObject<reference_product::InProcessProduct>(
            vek::MakeObject<reference_product::ScriptedScanner>([this](bool, Mail& mail) {
                std::u16string subject;
                mail.GetSubject(subject);
                {
                    const std::lock_guard guard(lock);
                    checked.push_back(subject);
                }
                during_check(mail);
                return vek::result::kOk;
            }));
    vek::RefPtr<FakeSettings> settings = vek::MakeObject<FakeSettings>([this](auto& record) {
        record.isPluginEnabled = enabled;
        return vek::result::kOk;
    });
    plugins::loader::ServiceAccess services{[this](vek::RefPtr<plugins::ILoader>& loader) {
        product->Offer(plugins::product::IProductSettings::kInterfaceId, settings);
        loader = product;
        return vek::result::kOk;
    }};
    SecondsClock clock;
    OutlookRegistry registry;
    RecordingObserver observer;

    plugins::mail_processing::AsyncEnvironment Environment(
        std::shared_ptr<const plugins::mapi::MapiFunctions> functions,
        vek::platform::System& system, const vek::trace::TracerPtr& tracer, int stop_ms = 60'000) {
        using namespace plugins::mail_processing;
        auto processor = MessageProcessor::Create(nullptr, functions, nullptr,
                                                  {system, clock, services, tracer, observer});
        auto product_settings = std::make_shared<ProductSettingsProvider>(services, clock, tracer);
        return {.functions = functions,
                .settings = product_settings,
                .processor = processor,
                .system = system,
                .tracer = tracer,
                .stop_timeout = std::chrono::milliseconds{stop_ms},
                .registry = registry,
                .observer = observer};
    }
};

// An entry id as the object model writes it.
inline std::u16string ToHex(std::string_view bytes) {
    std::u16string hex;
    for (const char c : bytes) {
        for (const int digit : {static_cast<unsigned char>(c) >> 4, c & 0xF}) {
            hex.push_back(u"0123456789ABCDEF"[digit]);
        }
    }
    return hex;
}

inline void WaitForLine(const RecordingTracer& tracer, std::string_view part, std::size_t count) {
    while (tracer.Count(part) < count) std::this_thread::sleep_for(std::chrono::milliseconds{1});
}

}  // namespace tests
