#pragma once

// What an administrator imposes on the product: values of the registry, which mlxo.admx has a
// policy for each of.

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "product/policy/engine_address.h"
#include "vek/platform/registry.h"

namespace reference_product {

// HKEY_LOCAL_MACHINE's key.
inline constexpr std::u16string_view kPolicyPath = u"Software\\Policies\\QZ\\Mail Plugin";

// A policy; what it does not say is empty.
struct Policy {
    std::optional<bool> is_plugin_enabled;
    std::optional<bool> check_incoming_only;
    std::optional<bool> check_on_delivery;
    std::optional<bool> check_on_read;
    std::optional<bool> check_on_send;
    std::optional<std::string> engine;  // one that IsEngine knows
    std::optional<std::vector<EngineAddress>> engine_addresses;
    std::optional<std::uint32_t> engine_seconds_per_part;
    std::optional<std::uint32_t> engine_seconds_per_mail;
    std::optional<std::uint32_t> trace_level;
};

// Reads the policy that is in force now. Any thread may call it.
class PolicyReader {
public:
    // `complain` is told of a value that is left out, and why: once while it stays so. It may be
    // empty. `registry` must outlive the reader.
    explicit PolicyReader(std::function<void(std::string_view)> complain,
                          vek::platform::Registry& registry = vek::platform::TheRegistry());

    // A value of another type or out of its range counts as missing. Raises only for want of
    // memory.
    Policy Read();

private:
    const std::function<void(std::string_view)> complain_;
    vek::platform::Registry& registry_;
    std::mutex lock_;  // guards what follows
    std::set<std::string> told_;
};

}  // namespace reference_product
