#pragma once

// The registry's calls, as the system has them.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vek/platform/calendar.h"
#include "vek/platform/event.h"
#include "vek/platform/system_error.h"

namespace vek::platform {

// A key as the system numbers it (HKEY): a predefined root, or one that was opened.
enum class RegistryHandle : std::intptr_t {
    kNone = 0,
    kClassesRoot = static_cast<std::int32_t>(0x80000000u),
    kCurrentUser = static_cast<std::int32_t>(0x80000001u),
    kLocalMachine = static_cast<std::int32_t>(0x80000002u),
};

// What an opened key may be used for, and the view that it is looked for in (REGSAM).
using registry_access_t = std::uint32_t;

namespace registry_access {
inline constexpr registry_access_t kQueryValue = 0x1;        // KEY_QUERY_VALUE
inline constexpr registry_access_t kSetValue = 0x2;          // KEY_SET_VALUE
inline constexpr registry_access_t kCreateSubkey = 0x4;      // KEY_CREATE_SUB_KEY
inline constexpr registry_access_t kEnumerateSubkeys = 0x8;  // KEY_ENUMERATE_SUB_KEYS
inline constexpr registry_access_t kNotify = 0x10;           // KEY_NOTIFY
inline constexpr registry_access_t kRead = 0x20019;          // KEY_READ
inline constexpr registry_access_t kWrite = 0x20006;         // KEY_WRITE
inline constexpr registry_access_t kView32 = 0x200;          // KEY_WOW64_32KEY
}  // namespace registry_access

// Types of values (REG_...). Others occur, too.
enum class RegistryType : std::uint32_t {
    kNone = 0,
    kString = 1,
    kExpandString = 2,
    kBinary = 3,
    kDword = 4,
    kMultiString = 7,
};

struct RegistryValue {
    RegistryType type = RegistryType::kNone;
    std::vector<std::byte> data =
        {};  // a text as the system has it: UTF-16, with or without an end
};

struct RegistryKeyInfo {
    std::uint32_t subkeys = 0;
    std::uint32_t values = 0;
    filetime_t last_write = 0;  // to the key itself
};

// A seam: a test passes a registry of its own. Names are UTF-16 without a NUL; an empty value name
// is the key's default value. Each operation but Close gives kNone or the system's error, and what
// it was to fill is then of no meaning. May be called from any thread.
class Registry {
public:
    virtual ~Registry() = default;

    // `key` is to be closed. An empty path is `root` itself. kFileNotFound when it is not there.
    virtual system_error_t Open(RegistryHandle root, std::u16string_view path,
                                registry_access_t access, RegistryHandle& key) = 0;
    // As Open; makes what is missing of the path, non-volatile.
    virtual system_error_t Create(RegistryHandle root, std::u16string_view path,
                                  registry_access_t access, RegistryHandle& key) = 0;
    virtual void Close(RegistryHandle key) noexcept = 0;

    virtual system_error_t QueryInfo(RegistryHandle key, RegistryKeyInfo& info) = 0;
    // Indices count from 0 to kNoMoreItems; a change of the key moves them.
    virtual system_error_t EnumerateKey(RegistryHandle key, std::uint32_t index,
                                        std::u16string& name, filetime_t& last_write) = 0;
    virtual system_error_t EnumerateValue(RegistryHandle key, std::uint32_t index,
                                          std::u16string& name, RegistryType& type) = 0;

    virtual system_error_t QueryValue(RegistryHandle key, std::u16string_view name,
                                      RegistryValue& value) = 0;
    virtual system_error_t SetValue(RegistryHandle key, std::u16string_view name, RegistryType type,
                                    std::span<const std::byte> data) = 0;
    virtual system_error_t DeleteValue(RegistryHandle key, std::u16string_view name) = 0;
    // `view` is 0 or kView32. kAccessDenied for a key that has subkeys.
    virtual system_error_t DeleteKey(RegistryHandle root, std::u16string_view path,
                                     registry_access_t view) = 0;

    // Signals `event`, which outlives `key`, once: when a value of the key or below it changes, or
    // when the key is closed. The calling thread stays. kKeyDeleted for a key that was deleted.
    virtual system_error_t NotifyChange(RegistryHandle key, Event& event) = 0;
};

// The system's own. Where there is no registry nothing is found: every operation gives
// kFileNotFound.
Registry& TheRegistry() noexcept;

}  // namespace vek::platform
