#pragma once

// What the settings window shows, apart from the window.

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/loader/service_access.h"
#include "private_include/common/localization.h"
#include "private_include/common/product_settings.h"
#include "product/status/product_status.h"
#include "vek/platform/clock.h"

namespace reference_product {

// What the product has said, all at one time.
struct WindowSnapshot {
    // Of reaching the product; after a failure the rest says nothing.
    vek::result_t code = vek::result::kOk;
    ProductStatus status;
    plugins::product::MailPluginSettings settings;
    std::vector<MailFind> finds;  // the newest first
};

// Asks the product, and waits no longer for it than one event of Outlook does. Any thread.
WindowSnapshot ReadSnapshot(plugins::loader::ServiceAccess& services) noexcept;

// Has the product keep the user's switches. Waits as ReadSnapshot; gives the code of the step that
// failed. Any thread.
vek::result_t StoreSwitches(plugins::loader::ServiceAccess& services,
                            const plugins::product::MailSettings& switches) noexcept;

// The installed texts. They are read where they are, since a window without a product has much to
// say. Any thread.
class WindowTexts {
public:
    explicit WindowTexts(vek::RefPtr<plugins::product::ILocalization> texts)
        : texts_(std::move(texts)) {}

    // The key itself where there is no text.
    std::u16string Get(std::string_view key) const;
    // With `value` in place of "{0}".
    std::u16string Get(std::string_view key, std::string_view value) const;
    bool IsRightToLeft() const noexcept;
    // The path of a file of the product's; empty when there is none.
    std::string Resource(std::string_view relative_path) const;

private:
    const vek::RefPtr<plugins::product::ILocalization> texts_;
};

struct WindowContent {
    // The boxes in their order: mail that arrives, is opened, is sent.
    static constexpr std::size_t kSwitches = 3;
    // A row of the list: when, the message, what was found, what was done.
    using Row = std::array<std::u16string, 4>;

    bool is_on = false;
    std::u16string state, reason;
    std::u16string engine, signatures;
    std::array<bool, kSwitches> checked{}, enabled{};
    bool user_sends = false;       // the user's choice for mail being sent, whatever is shown
    std::u16string switches_note;  // why they cannot be changed
    std::u16string finds_title;
    std::vector<Row> finds;

    bool operator==(const WindowContent&) const = default;
};

// What the window shows then. Times are given in `clock`'s local time.
WindowContent Describe(const WindowSnapshot& snapshot, const WindowTexts& texts,
                       vek::platform::Clock& clock);

}  // namespace reference_product
