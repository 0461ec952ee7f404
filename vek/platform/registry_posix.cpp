#include "vek/core/never_destroyed.h"
#include "vek/platform/registry.h"

namespace vek::platform {
namespace {

constexpr system_error_t kNothing = system_error::kFileNotFound;

class NoRegistry final : public Registry {
    using Handle = RegistryHandle;
    using Name = std::u16string_view;

public:
    system_error_t Open(Handle, Name, registry_access_t, Handle&) override { return kNothing; }
    system_error_t Create(Handle, Name, registry_access_t, Handle&) override { return kNothing; }
    void Close(Handle) noexcept override {}
    system_error_t QueryInfo(Handle, RegistryKeyInfo&) override { return kNothing; }
    system_error_t EnumerateKey(Handle, std::uint32_t, std::u16string&, filetime_t&) override {
        return kNothing;
    }
    system_error_t EnumerateValue(Handle, std::uint32_t, std::u16string&, RegistryType&) override {
        return kNothing;
    }
    system_error_t QueryValue(Handle, Name, RegistryValue&) override { return kNothing; }
    system_error_t SetValue(Handle, Name, RegistryType, std::span<const std::byte>) override {
        return kNothing;
    }
    system_error_t DeleteValue(Handle, Name) override { return kNothing; }
    system_error_t DeleteKey(Handle, Name, registry_access_t) override { return kNothing; }
    system_error_t NotifyChange(Handle, Event&) override { return kNothing; }
};

}  // namespace

Registry& TheRegistry() noexcept {
    // Never destroyed: what lives until the process ends may use it to the last.
    static NeverDestroyed<NoRegistry> registry;
    return *registry;
}

}  // namespace vek::platform
