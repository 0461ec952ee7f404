#include "sandbox/demo/scenario/damage.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "mapi/property_tags.h"
#include "processing/message_processor.h"
#include "product/clamd/engine_choice.h"
#include "sandbox/demo/scenario/reachable_product.h"

namespace sandbox::demo {
namespace {

namespace mail_processing = plugins::mail_processing;

// More than these make no difference that a shorter chain has not shown.
constexpr int kMaxChecks = 6;
// Of what one depth can reach: rules that make more of one message are not followed further.
constexpr std::size_t kMaxStates = 16;

// How a message is checked: whether it comes in, and whether its contents can be written.
constexpr std::pair<bool, bool> kWays[] = {{true, true}, {false, true}, {true, false}};

void Add(const outlook::PropertyBag& properties, const std::string& place, Content& content) {
    for (const auto& [property, value] : properties) {
        // Of the place where it lies, and of the time when it was saved.
        if (property == plugins::mapi::tag::kEntryId ||
            property == plugins::mapi::tag::kLastModificationTime)
            continue;
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(property));
        content.emplace(place + digits, value);
    }
}

Content ContentOf(const outlook::MessageRecord& record) {
    Content content;
    Add(record.properties, "", content);
    // A message that was stored numbers its attachments anew.
    for (std::size_t i = 0; i < record.attachments.size(); ++i)
        Add(record.attachments[i].properties, "attachment " + std::to_string(i) + ' ', content);
    return content;
}

reference_product::EngineSource EngineOf(const std::filesystem::path& product) {
    if (product.empty()) return {};
    // A service has its settings above what is private.
    std::filesystem::path file = product / "settings.json";
    if (!std::filesystem::exists(file)) file = product.parent_path() / "settings.json";
    const reference_product::Log nowhere = [](std::string_view) {};
    const auto choice = std::make_shared<reference_product::EngineChoice>(
        std::make_shared<reference_product::SettingsStore>(file, std::filesystem::path(), nowhere),
        nowhere);
    return [choice](const std::string& account) { return choice->CurrentOf(account); };
}

}  // namespace

class DamageFinder::Checker {
public:
    Checker(outlook::MapiSubsystem& mapi, const std::filesystem::path& rules,
            const std::filesystem::path& product)
        : mapi_(mapi),
          product_(MakeLocalProduct(rules, EngineOf(product))),
          services_(product_->Loader(nullptr)),
          functions_(
              std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions())),
          initialized_(SUCCEEDED(functions_->initialize(nullptr))),
          processor_(mail_processing::MessageProcessor::Create(
              nullptr, functions_, nullptr,
              {vek::platform::TheSystem(), vek::platform::TheClock(), services_, nullptr})) {
        product_->Start();
    }
    ~Checker() {
        processor_.reset();
        if (initialized_) functions_->uninitialize();
    }
    Checker(const Checker&) = delete;
    Checker& operator=(const Checker&) = delete;

    // What is dangerous is deleted where it cannot be written over.
    outlook::MessageRecord Check(outlook::MessageRecord record, bool incoming, bool can_write) {
        const std::string entry_id = mapi_.store().Add(std::move(record));
        outlook::FaultPlan& faults = mapi_.faults();
        const std::size_t failed = faults.Failed().size();
        if (!can_write) faults.FailEvery(outlook::Call::kStreamWrite, MAPI_E_CALL_FAILED);
        processor_->ProcessMessage(mapi_.OpenMessage(entry_id).get(), incoming,
                                   mail_processing::kForeground);
        if (!can_write) faults.Clear();
        faults.KeepFailed(failed);
        outlook::MessageRecord checked = *mapi_.store().Find(entry_id);
        mapi_.store().Remove(entry_id);
        return checked;
    }

private:
    outlook::MapiSubsystem& mapi_;
    const std::unique_ptr<ReachableProduct> product_;
    plugins::loader::ServiceAccess services_;
    const std::shared_ptr<const plugins::mapi::MapiFunctions> functions_;
    const bool initialized_;
    std::shared_ptr<mail_processing::MessageProcessor> processor_;
};

DamageFinder::DamageFinder(outlook::MapiSubsystem& mapi, const std::filesystem::path& rules,
                           const std::filesystem::path& product)
    : checker_(std::make_unique<Checker>(mapi, rules, product)) {}

DamageFinder::~DamageFinder() = default;

void DamageFinder::Extend(Reachable& reachable) {
    std::vector<outlook::MessageRecord> next;
    std::vector<Content> seen;
    for (const outlook::MessageRecord& record : reachable.after.back()) {
        for (const auto& [incoming, can_write] : kWays) {
            outlook::MessageRecord checked = checker_->Check(record, incoming, can_write);
            Content content = ContentOf(checked);
            if (std::ranges::find(seen, content) != seen.end()) continue;
            for (auto& [place, values] : reachable.allowed)
                if (!content.contains(place)) values.push_back(std::nullopt);
            for (const auto& [place, value] : content) {
                auto& values =
                    reachable.allowed
                        .try_emplace(
                            place, std::vector<std::optional<outlook::PropertyValue>>{std::nullopt})
                        .first->second;
                if (std::ranges::find(values, value) == values.end()) values.push_back(value);
            }
            seen.push_back(std::move(content));
            if (next.size() < kMaxStates) next.push_back(std::move(checked));
        }
    }
    reachable.after.push_back(std::move(next));
}

std::vector<std::string> DamageFinder::Find(const std::string& name,
                                            const outlook::MessageRecord& original,
                                            const outlook::MessageRecord& now, int checks) {
    Reachable& reachable = known_[name];
    if (reachable.after.empty()) {
        reachable.after.push_back({original});
        for (auto& [place, value] : ContentOf(original)) reachable.allowed[place] = {value};
    }
    const auto depth = static_cast<std::size_t>(std::min(checks, kMaxChecks));
    while (reachable.after.size() <= depth) Extend(reachable);

    const Content content = ContentOf(now);
    std::vector<std::string> damaged;
    for (const auto& [place, values] : reachable.allowed) {
        const auto found = content.find(place);
        const bool allowed = std::ranges::any_of(values, [&](const auto& value) {
            return found == content.end() ? !value : value == found->second;
        });
        if (!allowed) damaged.push_back(place);
    }
    for (const auto& [place, value] : content)
        if (!reachable.allowed.contains(place)) damaged.push_back(place);
    return damaged;
}

}  // namespace sandbox::demo
