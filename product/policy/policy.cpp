#include "product/policy/policy.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "internal/helpers/registry_impl.h"
#include "vek/core/current_exception.h"
#include "vek/core/text.h"

namespace reference_product {
namespace {

using plugins::helpers::RegistryKey;
using vek::platform::RegistryType;
using vek::platform::RegistryValue;

// A value: its name, its type, and the largest number or the longest text.
struct PolicyValue {
    std::u16string_view name;
    RegistryType type;
    std::uint32_t most;
};

// scripts/lint holds these lines to the template.
constexpr PolicyValue kIsPluginEnabled{u"IsPluginEnabled", RegistryType::kDword, 1};
constexpr PolicyValue kCheckIncomingOnly{u"CheckIncomingOnly", RegistryType::kDword, 1};
constexpr PolicyValue kCheckOnDelivery{u"CheckOnDelivery", RegistryType::kDword, 1};
constexpr PolicyValue kCheckOnRead{u"CheckOnRead", RegistryType::kDword, 1};
constexpr PolicyValue kCheckOnSend{u"CheckOnSend", RegistryType::kDword, 1};
constexpr PolicyValue kEngine{u"Engine", RegistryType::kString, 64};
constexpr PolicyValue kEngineAddresses{u"EngineAddresses", RegistryType::kMultiString, 256};
constexpr PolicyValue kTraceLevel{u"TraceLevel", RegistryType::kDword, 1000};

constexpr std::size_t kMostAddresses = 16;

// The open key and what is wrong with its values.
class PolicyKey {
public:
    PolicyKey(const RegistryKey& key, std::set<std::string>& complaints)
        : key_(key), complaints_(complaints) {}

    void Take(const PolicyValue& value, std::optional<bool>& taken) {
        std::optional<std::uint32_t> number;
        Take(value, number);
        if (number) taken = *number != 0;
    }

    void Take(const PolicyValue& value, std::optional<std::uint32_t>& taken) {
        const std::optional<RegistryValue> found = Query(value);
        std::uint32_t number = 0;
        if (!found) return;
        if (found->data.size() != sizeof number) return Complain(value, "is not whole");
        std::memcpy(&number, found->data.data(), sizeof number);
        if (number > value.most) return Complain(value, "is out of its range");
        taken = number;
    }

    void Take(const PolicyValue& value, std::optional<std::string>& taken) {
        const std::optional<RegistryValue> found = Query(value);
        if (!found) return;
        std::vector<std::string> texts;
        if (!Split(value, *found, texts)) return;
        if (texts.size() != 1) return Complain(value, "is not one text");
        taken = std::move(texts.front());
    }

    void Take(const PolicyValue& value, std::optional<std::vector<std::string>>& taken) {
        const std::optional<RegistryValue> found = Query(value);
        if (!found) return;
        std::vector<std::string> texts;
        if (!Split(value, *found, texts)) return;
        if (texts.empty()) return Complain(value, "is empty");
        if (texts.size() > kMostAddresses) return Complain(value, "has too many texts");
        taken = std::move(texts);
    }

private:
    std::optional<RegistryValue> Query(const PolicyValue& value) {
        std::optional<RegistryValue> found = key_.QueryValueIfThere(value.name);
        if (found && found->type != value.type) {
            Complain(value, "has another type");
            found.reset();
        }
        return found;
    }

    // The texts of a value, which may lack NULs at its end. False when one is too long.
    bool Split(const PolicyValue& value, const RegistryValue& found,
               std::vector<std::string>& texts) {
        std::u16string all(found.data.size() / sizeof(char16_t), u'\0');
        if (!all.empty()) std::memcpy(all.data(), found.data.data(), all.size() * sizeof(char16_t));
        for (std::u16string_view rest = all; !rest.empty();) {
            const std::u16string_view text = rest.substr(0, rest.find(u'\0'));
            rest.remove_prefix(std::min(text.size() + 1, rest.size()));
            if (text.empty()) break;
            if (text.size() > value.most) return Complain(value, "has a text too long"), false;
            texts.push_back(vek::ToUtf8(text));
        }
        return true;
    }

    void Complain(const PolicyValue& value, std::string_view why) {
        complaints_.insert("policy: " + vek::ToUtf8(value.name) + ' ' + std::string(why) +
                           " and counts as missing");
    }

    const RegistryKey& key_;
    std::set<std::string>& complaints_;
};

Policy ReadFrom(const RegistryKey& opened, std::set<std::string>& complaints) {
    Policy policy;
    PolicyKey key(opened, complaints);
    key.Take(kIsPluginEnabled, policy.is_plugin_enabled);
    key.Take(kCheckIncomingOnly, policy.check_incoming_only);
    key.Take(kCheckOnDelivery, policy.check_on_delivery);
    key.Take(kCheckOnRead, policy.check_on_read);
    key.Take(kCheckOnSend, policy.check_on_send);
    key.Take(kEngine, policy.engine);
    key.Take(kEngineAddresses, policy.engine_addresses);
    key.Take(kTraceLevel, policy.trace_level);
    return policy;
}

}  // namespace

PolicyReader::PolicyReader(std::function<void(std::string_view)> complain,
                           vek::platform::Registry& registry)
    : complain_(std::move(complain)), registry_(registry) {}

Policy PolicyReader::Read() {
    Policy policy;
    std::set<std::string> complaints;
    try {
        const std::optional<RegistryKey> key = RegistryKey::OpenIfThere(
            {vek::platform::RegistryHandle::kLocalMachine, std::u16string(kPolicyPath)},
            vek::platform::registry_access::kQueryValue, registry_);
        if (key) policy = ReadFrom(*key, complaints);
    } catch (const vek::CheckFailedException&) {
        complaints.insert("policy: cannot be read: " + vek::CurrentExceptionText());
    }
    const std::lock_guard guard(lock_);
    std::swap(told_, complaints);
    if (!complain_) return policy;
    for (const std::string& complaint : told_)
        if (!complaints.contains(complaint)) complain_(complaint);
    return policy;
}

}  // namespace reference_product
