#include "product/process/silence.h"

#include <array>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "product/mail_scanner.h"

namespace reference_product {
namespace {

using plugins::mail_processing::IMailMessage;
using plugins::mail_processing::IMailScanner;
using plugins::product::IProductSettings;
using plugins::product::IUserLanguage;

constexpr std::array<std::string_view, 8> kStepNames = {"accept",        "features",   "locator",
                                                        "get-interface", "language",   "settings",
                                                        "check",         "mail-object"};

class LocatorWithSteps final : public vek::ObjectImpl<plugins::IServiceLocator> {
public:
    LocatorWithSteps(vek::RefPtr<plugins::IServiceLocator> locator, ReachStep reach)
        : locator_(std::move(locator)), reach_(std::move(reach)) {}

    vek::result_t GetInterface(vek::interface_id_t id, const void* reserved,
                               void** service) noexcept override {
        reach_(Step::kGetInterface);
        return locator_->GetInterface(id, reserved, service);
    }

private:
    const vek::RefPtr<plugins::IServiceLocator> locator_;
    const ReachStep reach_;
};

class LanguageWithSteps final : public vek::ObjectImpl<IUserLanguage> {
public:
    LanguageWithSteps(vek::RefPtr<IUserLanguage> language, ReachStep reach)
        : language_(std::move(language)), reach_(std::move(reach)) {}

    vek::result_t SetUserLanguages(std::string_view languages) noexcept override {
        reach_(Step::kLanguage);
        return language_->SetUserLanguages(languages);
    }

private:
    const vek::RefPtr<IUserLanguage> language_;
    const ReachStep reach_;
};

class SettingsWithSteps final : public vek::ObjectImpl<IProductSettings> {
public:
    SettingsWithSteps(vek::RefPtr<IProductSettings> settings, ReachStep reach)
        : settings_(std::move(settings)), reach_(std::move(reach)) {}

    vek::result_t GetSettings(plugins::product::MailPluginSettings& settings) noexcept override {
        reach_(Step::kSettings);
        return settings_->GetSettings(settings);
    }
    vek::result_t SetUserSettings(
        const plugins::product::MailSettings& settings) noexcept override {
        reach_(Step::kSettings);
        return settings_->SetUserSettings(settings);
    }

private:
    const vek::RefPtr<IProductSettings> settings_;
    const ReachStep reach_;
};

}  // namespace

std::optional<Step> StepNamed(std::string_view name) noexcept {
    for (std::size_t i = 0; i < kStepNames.size(); ++i)
        if (name == kStepNames[i]) return static_cast<Step>(i);
    return std::nullopt;
}

ReachStep MakeReachStep(const std::optional<Silence>& silence) {
    if (!silence) return {};
    return [it = *silence, has_stopped = std::make_shared<std::atomic<bool>>(false)](Step step) {
        if (it.step != step) return;
        if (it.stops_process) {
            if (!has_stopped->exchange(true)) StopThisProcess();
            return;
        }
        for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
    };
}

vek::RefPtr<plugins::IServiceLocator> WithSteps(vek::RefPtr<plugins::IServiceLocator> locator,
                                                ReachStep reach) {
    if (!reach) return locator;
    return vek::MakeObject<LocatorWithSteps>(std::move(locator), std::move(reach));
}

vek::RefPtr<IUserLanguage> WithSteps(vek::RefPtr<IUserLanguage> language, ReachStep reach) {
    if (!reach) return language;
    return vek::MakeObject<LanguageWithSteps>(std::move(language), std::move(reach));
}

vek::RefPtr<IProductSettings> WithSteps(vek::RefPtr<IProductSettings> settings, ReachStep reach) {
    if (!reach) return settings;
    return vek::MakeObject<SettingsWithSteps>(std::move(settings), std::move(reach));
}

vek::RefPtr<IMailScanner> WithSteps(vek::RefPtr<IMailScanner> scanner, ReachStep reach) {
    if (!reach) return scanner;
    return vek::MakeObject<ScriptedScanner>(
        [scanner = std::move(scanner), reach = std::move(reach)](bool incoming,
                                                                 IMailMessage& message) {
            reach(Step::kCheck);
            std::u16string subject;
            static_cast<void>(message.GetSubject(subject));
            reach(Step::kMailObject);
            return scanner->CheckMessage(0, incoming, &message);
        });
}

}  // namespace reference_product
