#pragma once

// The registry for the plug-in's code: keys that name their view, and failures that say which key,
// which value and which access failed.
//
// What fails raises vek::CheckFailedException with such a message, unless an operation says
// otherwise. Any thread may call everything here, one at a time on one RegistryKey.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vek/core/exception.h"
#include "vek/platform/registry.h"

namespace plugins::helpers {

using vek::platform::Registry;
using vek::platform::RegistryHandle;
namespace registry_access = vek::platform::registry_access;

// The registry's view. k64 is that of the 64-bit process that the plug-in is loaded into.
enum class RegistryBitness : std::uint32_t { kProcess = 0, k32 = 1, k64 = 2 };

// Names a key.
struct RegistryKeyPath {
    RegistryHandle root{};  // a predefined one, or any open key
    std::u16string path{};  // empty: the root itself
    RegistryBitness bitness = RegistryBitness::kProcess;
    bool operator==(const RegistryKeyPath&) const = default;
};

// As messages and traces name a key: "{ HKLM\Software\Example, 32bit }".
std::string TextOf(const RegistryKeyPath& key);

// For trace::Write, which names a key so only when the line is taken.
inline void AppendPiece(std::string& line, const RegistryKeyPath& key) { line += TextOf(key); }

struct RegistrySubkey {
    std::u16string name;
    vek::platform::filetime_t last_write;
};

struct RegistryValueName {
    std::u16string name;
    vek::platform::RegistryType type;
};

// An open key, closed by its end.
class RegistryKey {
public:
    static RegistryKey Open(RegistryKeyPath path, vek::platform::registry_access_t access,
                            Registry& registry = vek::platform::TheRegistry());
    // Nothing when there is no such key.
    static std::optional<RegistryKey> OpenIfThere(
        RegistryKeyPath path, vek::platform::registry_access_t access,
        Registry& registry = vek::platform::TheRegistry());
    // As OpenIfThere, to be told of changes: gives access to Notify alone.
    static std::optional<RegistryKey> OpenForNotification(
        RegistryKeyPath path, Registry& registry = vek::platform::TheRegistry());
    // Opens it with KEY_WRITE; makes it, and what is missing above it.
    static RegistryKey Create(RegistryKeyPath path,
                              Registry& registry = vek::platform::TheRegistry());

    RegistryKey(RegistryKey&& other) noexcept;
    RegistryKey& operator=(RegistryKey other) noexcept;
    ~RegistryKey();

    const RegistryKeyPath& path() const noexcept { return path_; }
    // To be a RegistryKeyPath's root, while this key is open.
    RegistryHandle handle() const noexcept { return handle_; }

    vek::platform::RegistryKeyInfo Info() const;
    std::vector<std::u16string> Subkeys() const;
    std::vector<RegistrySubkey> Keys() const;
    std::vector<RegistryValueName> Values() const;

    // The value as it is stored.
    vek::platform::RegistryValue QueryValue(std::u16string_view name) const;
    // Nothing when there is no such value.
    std::optional<vek::platform::RegistryValue> QueryValueIfThere(std::u16string_view name) const;
    // Each fails with ERROR_UNSUPPORTED_TYPE for a value of another type. A string is a REG_SZ, a
    // REG_EXPAND_SZ unexpanded, or a REG_MULTI_SZ with a NUL after each of its texts.
    std::u16string GetString(std::u16string_view name) const;
    std::uint32_t GetDword(std::u16string_view name) const;
    std::vector<std::byte> GetBinary(std::u16string_view name) const;

    void SetString(std::u16string_view name, std::u16string_view value) const;
    void SetDword(std::u16string_view name, std::uint32_t value) const;
    void SetBinary(std::u16string_view name, std::span<const std::byte> value) const;
    void DeleteValue(std::u16string_view name) const;

    // Signals `event`, which outlives this key, as vek::platform::Registry says. Gives the system's
    // error and raises nothing.
    vek::platform::system_error_t Notify(vek::platform::Event& event) const;

private:
    RegistryKey(Registry& registry, RegistryKeyPath path) noexcept;
    vek::platform::system_error_t TryOpen(vek::platform::registry_access_t access);
    template <class Take>
    vek::platform::system_error_t ForEachKey(Take take) const;
    vek::platform::RegistryValue Get(std::u16string_view name,
                                     vek::platform::RegistryType type) const;

    Registry* registry_;
    RegistryKeyPath path_;
    RegistryHandle handle_ = RegistryHandle::kNone;
};

// The system's error behind a failure of these operations; kGenFailure behind any other.
vek::platform::system_error_t RegistryErrorOf(const vek::CheckFailedException& failure) noexcept;

// Deletes a key that has no subkeys.
void DeleteKey(const RegistryKeyPath& path, Registry& registry = vek::platform::TheRegistry());

// One string of a key, for callers with failures of their own: each opens the key for no more than
// it does, gives kNone or the system's error, and raises nothing but for want of memory. `value` is
// untouched by a failure.
vek::platform::system_error_t ReadString(const RegistryKeyPath& path, std::u16string_view name,
                                         std::u16string& value, Registry& registry);
vek::platform::system_error_t WriteString(const RegistryKeyPath& path, std::u16string_view name,
                                          std::u16string_view value, Registry& registry);
vek::platform::system_error_t RemoveValue(const RegistryKeyPath& path, std::u16string_view name,
                                          Registry& registry);

}  // namespace plugins::helpers
