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

// A value: its name, its type, the largest number or the longest text, and the smallest number.
struct PolicyValue {
    std::u16string_view name;
    RegistryType type;
    std::uint32_t most;
    std::uint32_t least = 0;
};

// scripts/lint holds these lines to the template.
constexpr PolicyValue kIsPluginEnabled{u"IsPluginEnabled", RegistryType::kDword, 1};
constexpr PolicyValue kCheckIncomingOnly{u"CheckIncomingOnly", RegistryType::kDword, 1};
constexpr PolicyValue kCheckOnDelivery{u"CheckOnDelivery", RegistryType::kDword, 1};
constexpr PolicyValue kCheckOnRead{u"CheckOnRead", RegistryType::kDword, 1};
constexpr PolicyValue kCheckOnSend{u"CheckOnSend", RegistryType::kDword, 1};
constexpr PolicyValue kEngine{u"Engine", RegistryType::kString, 64};
constexpr PolicyValue kEngineAddresses{u"EngineAddresses", RegistryType::kMultiString, 256};
constexpr PolicyValue kEngineSecondsPerPart{u"EngineSecondsPerPart", RegistryType::kDword, 60, 1};
constexpr PolicyValue kEngineSecondsPerMail{u"EngineSecondsPerMail", RegistryType::kDword, 120, 1};
constexpr PolicyValue kTraceLevel{u"TraceLevel", RegistryType::kDword, 1000};

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
        if (number < value.least || number > value.most)
            return Complain(value, "is out of its range");
        taken = number;
    }

    void Take(const PolicyValue& value, std::optional<std::string>& taken) {
        const std::optional<RegistryValue> found = Query(value);
        if (!found) return;
        std::vector<std::string> texts;
        if (!Split(value, *found, texts)) return;
        if (texts.size() != 1) return Complain(value, "is not one text");
        if (!IsEngine(texts.front())) return Complain(value, "names no engine");
        taken = std::move(texts.front());
    }

    void Take(const PolicyValue& value, std::optional<std::vector<EngineAddress>>& taken) {
        const std::optional<RegistryValue> found = Query(value);
        if (!found) return;
        std::vector<std::string> texts;
        if (!Split(value, *found, texts)) return;
        if (texts.empty()) return Complain(value, "is empty");
        if (texts.size() > kMostEngineAddresses) return Complain(value, "has too many texts");
        std::vector<EngineAddress> addresses;
        for (const std::string& text : texts) {
            std::optional<EngineAddress> address = ParseEngineAddress(text);
            if (!address) return Complain(value, "has a text that is no address of an engine");
            addresses.push_back(*std::move(address));
        }
        taken = std::move(addresses);
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
    key.Take(kEngineSecondsPerPart, policy.engine_seconds_per_part);
    key.Take(kEngineSecondsPerMail, policy.engine_seconds_per_mail);
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
