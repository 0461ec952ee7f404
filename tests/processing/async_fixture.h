#pragma once

#include <atomic>
#include <mutex>
#include <thread>

#include "mapi/entry_id.h"
#include "processing/async_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "tests/support/fake_settings.h"
#include "tests/support/mail_fixture.h"
#include "tests/support/recording_observer.h"
#include "vek/platform/flag.h"

namespace tests {

// Lets a second pass with each look.
struct SecondsClock final : FakeClock {
    std::uint32_t TickCount() noexcept override { return now += 1000; }
    std::atomic<std::uint32_t> now{0};
};

// Names Outlook as the default mail client; a change of that is a failure.
struct OutlookRegistry final : vek::platform::Registry {
    using Error = vek::platform::system_error_t;
    using Root = vek::platform::RegistryRoot;
    using View = std::string_view;
    Error ReadText(Root, View, View, std::string& value) override {
        return value = "Microsoft Outlook", vek::platform::system_error::kNone;
    }
    Error WriteText(Root, View, View, View) override { return DeleteValue({}, {}, {}); }
    Error DeleteValue(Root, View, View) override {
        ADD_FAILURE() << "the default mail client is changed";
        return vek::platform::system_error::kAccessDenied;
    }
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
        std::shared_ptr<const plugins::mapi::MapiFunctions> functions,
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

inline std::string Told(int number, const std::string& what, std::u16string_view id = u"") {
    return std::to_string(number) + ' ' + what + ' ' + vek::ToUtf8(id);
}
inline std::string Ended(int number, vek::result_t code, std::u16string_view id = u"") {
    return Told(number, "ended " + std::to_string(code), id);
}
inline std::string Skipped(int number, plugins::mail_processing::SkipReason reason,
                           std::u16string_view id, vek::result_t code = 0) {
    return Told(number, RecordingObserver::SkipText(reason, code), id);
}

}  // namespace tests
