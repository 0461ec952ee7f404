#pragma once

// Checks of JSON that people may have edited. Each raises std::exception with a text that names the
// fault.

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>

namespace reference_product {

// Raises unless `value` is an object with exactly these members; the optional ones may be missing.
inline void RequireMembers(const nlohmann::json& value,
                           std::initializer_list<std::string_view> names,
                           std::initializer_list<std::string_view> optional = {}) {
    if (!value.is_object()) throw std::runtime_error("an object is expected");
    for (const std::string_view name : names) {
        if (!value.contains(name)) throw std::runtime_error(std::string(name) + " is missing");
    }
    for (const auto& member : value.items()) {
        if (std::ranges::find(names, member.key()) == names.end() &&
            std::ranges::find(optional, member.key()) == optional.end())
            throw std::runtime_error(member.key() + " is not known");
    }
}

inline bool RequireBool(const nlohmann::json& object, const char* name) {
    const nlohmann::json& value = object.at(name);
    if (!value.is_boolean()) throw std::runtime_error(std::string(name) + " is true or false");
    return value.get<bool>();
}

template <class Unsigned>
Unsigned RequireNumber(const nlohmann::json& object, const char* name) {
    const nlohmann::json& value = object.at(name);
    if (!value.is_number_unsigned() ||
        value.get<std::uint64_t>() > std::numeric_limits<Unsigned>::max())
        throw std::runtime_error(std::string(name) + " is a number out of its range");
    return static_cast<Unsigned>(value.get<std::uint64_t>());
}

}  // namespace reference_product
