#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "vek/platform/registry.h"

namespace sandbox {

// Another registry of which one call fails with kAccessDenied, counted from 0; closing does not
// count. One thread at a time.
class FailingRegistry final : public vek::platform::Registry {
    using Error = vek::platform::system_error_t;
    using Handle = vek::platform::RegistryHandle;
    using Access = vek::platform::registry_access_t;
    using Type = vek::platform::RegistryType;
    using Name = std::u16string_view;

public:
    FailingRegistry(Registry& registry, std::size_t failing)
        : registry_(registry), left_(failing) {}

    Error Open(Handle root, Name path, Access access, Handle& key) override {
        return Fails() ? kError : registry_.Open(root, path, access, key);
    }
    Error Create(Handle root, Name path, Access access, Handle& key) override {
        return Fails() ? kError : registry_.Create(root, path, access, key);
    }
    void Close(Handle key) noexcept override { registry_.Close(key); }
    Error QueryInfo(Handle key, vek::platform::RegistryKeyInfo& info) override {
        return Fails() ? kError : registry_.QueryInfo(key, info);
    }
    Error EnumerateKey(Handle key, std::uint32_t index, std::u16string& name,
                       vek::platform::filetime_t& last_write) override {
        return Fails() ? kError : registry_.EnumerateKey(key, index, name, last_write);
    }
    Error EnumerateValue(Handle key, std::uint32_t index, std::u16string& name,
                         Type& type) override {
        return Fails() ? kError : registry_.EnumerateValue(key, index, name, type);
    }
    Error QueryValue(Handle key, Name name, vek::platform::RegistryValue& value) override {
        return Fails() ? kError : registry_.QueryValue(key, name, value);
    }
    Error SetValue(Handle key, Name name, Type type, std::span<const std::byte> data) override {
        return Fails() ? kError : registry_.SetValue(key, name, type, data);
    }
    Error DeleteValue(Handle key, Name name) override {
        return Fails() ? kError : registry_.DeleteValue(key, name);
    }
    Error DeleteKey(Handle root, Name path, Access view) override {
        return Fails() ? kError : registry_.DeleteKey(root, path, view);
    }
    Error NotifyChange(Handle key, vek::platform::Event& event) override {
        return Fails() ? kError : registry_.NotifyChange(key, event);
    }

private:
    static constexpr Error kError = vek::platform::system_error::kAccessDenied;
    bool Fails() { return left_-- == 0; }

    Registry& registry_;
    std::size_t left_;
};

}  // namespace sandbox
