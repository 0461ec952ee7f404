#pragma once

// A product that does not answer: for trying out what its callers do then.

#include <functional>
#include <optional>
#include <string_view>

#include "private_include/common/mail_scanner.h"
#include "private_include/common/product_settings.h"
#include "private_include/common/service_locator.h"
#include "private_include/common/user_language.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {

// What a caller of the product comes to, in this order.
enum class Step {
    kAccept,
    kFeatures,
    kLocator,
    kGetInterface,
    kLanguage,
    kSettings,
    kCheck,
    kMailObject
};

// Where a product falls silent, and how: it never answers those who come to the step, or the whole
// process stops when the first does.
struct Silence {
    Step step;
    bool stops_process;
};

// The step of that name: "accept", "features", "locator", "get-interface", "language", "settings",
// "check" or "mail-object".
std::optional<Step> StepNamed(std::string_view name) noexcept;

// Stops every thread of this process; returns when somebody has it go on.
void StopThisProcess() noexcept;

// To be called by whoever comes to a step, on any thread. Returns at once unless it is that of the
// silence. Empty without one.
using ReachStep = std::function<void(Step)>;
ReachStep MakeReachStep(const std::optional<Silence>& silence);

// Locators and services that reach their steps before they do anything; as they are for an empty
// function.
vek::RefPtr<plugins::IServiceLocator> WithSteps(vek::RefPtr<plugins::IServiceLocator> locator,
                                                ReachStep reach);
vek::RefPtr<plugins::product::IUserLanguage> WithSteps(
    vek::RefPtr<plugins::product::IUserLanguage> language, ReachStep reach);
vek::RefPtr<plugins::product::IProductSettings> WithSteps(
    vek::RefPtr<plugins::product::IProductSettings> settings, ReachStep reach);
// The scanner comes to the mail object before it looks at the message.
vek::RefPtr<plugins::mail_processing::IMailScanner> WithSteps(
    vek::RefPtr<plugins::mail_processing::IMailScanner> scanner, ReachStep reach);

}  // namespace reference_product
