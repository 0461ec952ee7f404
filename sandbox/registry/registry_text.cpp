#include "sandbox/registry/registry_text.h"

#include <cstring>
#include <set>
#include <stdexcept>

#include "vek/core/text.h"

namespace sandbox {
namespace {

using vek::platform::Registry;
using vek::platform::RegistryHandle;
using vek::platform::RegistryType;
using vek::platform::RegistryValue;

// False when there are no more.
bool Continues(vek::platform::system_error_t error) {
    if (error == vek::platform::system_error::kNoMoreItems) return false;
    if (error != 0)
        throw std::runtime_error("a key cannot be read: error " + std::to_string(error));
    return true;
}

std::string ToText(const RegistryValue& value) {
    const std::size_t size = value.data.size();
    if (value.type == RegistryType::kString && size % sizeof(char16_t) == 0) {
        std::u16string text(size / sizeof(char16_t), u'\0');
        std::memcpy(text.data(), value.data.data(), size);
        if (!text.empty() && text.back() == u'\0') text.pop_back();
        return vek::ToUtf8(text);
    }
    if (std::uint32_t number = 0; value.type == RegistryType::kDword && size == sizeof number) {
        std::memcpy(&number, value.data.data(), size);
        return '#' + std::to_string(number);
    }
    std::string text = "$";
    if (value.type != RegistryType::kBinary)
        text = '?' + std::to_string(static_cast<std::uint32_t>(value.type)) + ':';
    for (const std::byte byte : value.data)
        text += std::to_string(std::to_integer<int>(byte)) + '.';
    return text;
}

}  // namespace

std::string ToText(Registry& registry, RegistryHandle root, std::u16string_view path) {
    RegistryHandle key{};
    Continues(registry.Open(root, path, vek::platform::registry_access::kRead, key));
    struct Closer {
        Registry& registry;
        RegistryHandle key;
        ~Closer() { registry.Close(key); }
    } const closer{registry, key};

    std::set<std::string> values, keys;
    std::u16string name;
    RegistryType type{};
    for (std::uint32_t i = 0; Continues(registry.EnumerateValue(key, i, name, type)); ++i) {
        RegistryValue value;
        Continues(registry.QueryValue(key, name, value));
        values.insert(vek::ToUtf8(name) + '=' + ToText(value) + ' ');
    }
    vek::platform::filetime_t last_write{};
    for (std::uint32_t i = 0; Continues(registry.EnumerateKey(key, i, name, last_write)); ++i)
        keys.insert(vek::ToUtf8(name) + '{' + ToText(registry, key, name) + "} ");
    std::string text;
    for (const auto& lines : {values, keys})
        for (const auto& line : lines) text += line;
    return text;
}

}  // namespace sandbox
