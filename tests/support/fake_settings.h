#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "private_include/common/product_settings.h"
#include "vek/remoting/call_wait.h"

namespace tests {

// A settings service that answers what a test says.
class FakeSettings final : public vek::ObjectImpl<plugins::product::IProductSettings> {
public:
    using Record = plugins::product::MailPluginSettings;
    using Answer = std::function<vek::result_t(Record&)>;

    explicit FakeSettings(Answer to) : answer(std::move(to)) {}

    vek::result_t GetSettings(Record& settings) noexcept override {
        ++asked;
        unlimited += vek::remoting::CallScope::Current() == nullptr;
        return answer(settings);
    }
    vek::result_t SetUserSettings(const plugins::product::MailSettings& s) noexcept override {
        unlimited += vek::remoting::CallScope::Current() == nullptr;
        kept = s;
        return keep;
    }

    const Answer answer;
    std::atomic<int> asked{0};
    std::atomic<int> unlimited{0};  // calls whose caller would wait for ever
    vek::result_t keep = vek::result::kOk;
    plugins::product::MailSettings kept;
};

}  // namespace tests
