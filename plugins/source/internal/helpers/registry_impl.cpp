#include "internal/helpers/registry_impl.h"

#include <array>
#include <charconv>
#include <cstring>
#include <memory>
#include <utility>

#include "vek/core/text.h"

namespace plugins::helpers {
namespace {

namespace platform = vek::platform;
namespace system_error = vek::platform::system_error;
using platform::registry_access_t;
using platform::RegistryType;
using platform::RegistryValue;
using platform::system_error_t;
using vek::SourceLocation;

// In lower case, without leading zeros.
std::string Hexadecimal(std::uint64_t number) {
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16);
    return {digits.data(), end.ptr};
}

std::string NameOf(RegistryHandle root) {
    switch (root) {
        case RegistryHandle::kLocalMachine:
            return "HKLM";
        case RegistryHandle::kCurrentUser:
            return "HKCU";
        default:
            return "0x" + Hexadecimal(static_cast<std::uintptr_t>(root));
    }
}

const char* NameOf(RegistryBitness bitness) {
    switch (bitness) {
        case RegistryBitness::kProcess:
            return "current process bitness";
        case RegistryBitness::k32:
            return "32bit";
        case RegistryBitness::k64:
            return "64bit";
    }
    return "unknown bitness";
}

std::string NameOfAccess(registry_access_t access) {
    switch (access) {
        case registry_access::kRead:
            return "READ";
        case registry_access::kWrite:
            return "WRITE";
        case registry_access::kQueryValue:
            return "QUERY_VALUE";
        default:
            return "0x" + Hexadecimal(access);
    }
}

registry_access_t ViewOf(const RegistryKeyPath& path) {
    return path.bitness == RegistryBitness::k32 ? registry_access::kView32 : 0;
}

struct RegistryError final : vek::ExceptionDetail {
    explicit RegistryError(system_error_t reported) : error(reported) {}
    std::unique_ptr<ExceptionDetail> Clone() const override {
        return std::make_unique<RegistryError>(error);
    }

    system_error_t error;
};

// Raises what `text` begins.
[[noreturn]] void Fail(const std::string& text, system_error_t error, SourceLocation location) {
    throw vek::CheckFailedException(
        location, vek::wide_string_t(vek::ToUtf16(text + ", result=0x" + Hexadecimal(error))),
        std::make_unique<RegistryError>(error));
}

// These raise when there is an error. `what` begins the message.
void CheckOpened(system_error_t error, const char* what, const RegistryKeyPath& path,
                 registry_access_t access, SourceLocation location = SourceLocation::Here()) {
    if (error == system_error::kNone) return;
    Fail(what + TextOf(path) + " with access mode " + NameOfAccess(access), error, location);
}

void CheckKey(system_error_t error, const char* what, const RegistryKeyPath& path,
              SourceLocation location = SourceLocation::Here()) {
    if (error != system_error::kNone) Fail(what + TextOf(path), error, location);
}

void CheckValue(system_error_t error, const char* what, std::u16string_view name, const char* place,
                const RegistryKeyPath& path, SourceLocation location = SourceLocation::Here()) {
    if (error == system_error::kNone) return;
    Fail(what + vek::ToUtf8(name) + "\"" + place + TextOf(path), error, location);
}

// Calls `next` with 0, 1, 2, ... until there is no more.
template <class Next>
system_error_t Enumerate(Next next) {
    for (std::uint32_t index = 0;; ++index) {
        const system_error_t error = next(index);
        if (error != system_error::kNone)
            return error == system_error::kNoMoreItems ? system_error::kNone : error;
    }
}

// Nobody makes a writer of the registry end its texts, or store whole units.
std::u16string TextIn(const RegistryValue& value) {
    std::u16string text(value.data.size() / sizeof(char16_t), u'\0');
    if (!text.empty()) std::memcpy(text.data(), value.data.data(), text.size() * sizeof(char16_t));
    if (value.type != RegistryType::kMultiString) return text.substr(0, text.find(u'\0'));
    // The texts up to the empty one that ends them.
    text.append(2, u'\0');
    std::size_t end = 0;
    while (text[end] != u'\0') end = text.find(u'\0', end) + 1;
    text.resize(end);
    return text;
}

bool IsOfType(const RegistryValue& value, RegistryType type) {
    if (type == RegistryType::kDword)
        return value.type == type && value.data.size() == sizeof(std::uint32_t);
    if (type != RegistryType::kString) return value.type == type;
    return value.type == RegistryType::kString || value.type == RegistryType::kExpandString ||
           value.type == RegistryType::kMultiString;
}

// kNone for a value that is there and of that type.
system_error_t QueryTyped(Registry& registry, RegistryHandle key, std::u16string_view name,
                          RegistryType type, RegistryValue& value) {
    const system_error_t error = registry.QueryValue(key, name, value);
    if (error != system_error::kNone) return error;
    return IsOfType(value, type) ? system_error::kNone : system_error::kUnsupportedType;
}

system_error_t StoreString(Registry& registry, RegistryHandle key, std::u16string_view name,
                           std::u16string_view value) {
    const std::u16string terminated(value);
    return registry.SetValue(key, name, RegistryType::kString,
                             std::as_bytes(std::span(terminated.c_str(), terminated.size() + 1)));
}

// Runs `body` with the key opened; gives its error, or that of the opening.
template <class Body>
system_error_t WithKey(Registry& registry, const RegistryKeyPath& path, registry_access_t access,
                       Body body) {
    RegistryHandle key{};
    system_error_t error = registry.Open(path.root, path.path, access | ViewOf(path), key);
    if (error != system_error::kNone) return error;
    struct Closer {
        Registry& registry;
        RegistryHandle key;
        ~Closer() { registry.Close(key); }
    } const closer{registry, key};
    return body(key);
}

}  // namespace

std::string TextOf(const RegistryKeyPath& key) {
    return "{ " + NameOf(key.root) + "\\" + vek::ToUtf8(key.path) + ", " + NameOf(key.bitness) +
           " }";
}

RegistryKey::RegistryKey(Registry& registry, RegistryKeyPath path) noexcept
    : registry_(&registry), path_(std::move(path)) {}

RegistryKey::RegistryKey(RegistryKey&& other) noexcept
    : registry_(other.registry_),
      path_(std::move(other.path_)),
      handle_(std::exchange(other.handle_, RegistryHandle::kNone)) {}

RegistryKey& RegistryKey::operator=(RegistryKey other) noexcept {
    std::swap(registry_, other.registry_);
    std::swap(path_, other.path_);
    std::swap(handle_, other.handle_);
    return *this;
}

RegistryKey::~RegistryKey() {
    if (handle_ != RegistryHandle::kNone) registry_->Close(handle_);
}

system_error_t RegistryKey::TryOpen(registry_access_t access) {
    RegistryHandle opened{};
    const system_error_t error =
        registry_->Open(path_.root, path_.path, access | ViewOf(path_), opened);
    if (error == system_error::kNone) handle_ = opened;
    return error;
}

RegistryKey RegistryKey::Open(RegistryKeyPath path, registry_access_t access, Registry& registry) {
    RegistryKey key(registry, std::move(path));
    CheckOpened(key.TryOpen(access), "Cannot open registry key ", key.path_, access);
    return key;
}

std::optional<RegistryKey> RegistryKey::OpenIfThere(RegistryKeyPath path, registry_access_t access,
                                                    Registry& registry) {
    RegistryKey key(registry, std::move(path));
    const system_error_t error = key.TryOpen(access);
    if (error == system_error::kFileNotFound) return std::nullopt;
    CheckOpened(error, "Cannot open registry key ", key.path_, access);
    return key;
}

std::optional<RegistryKey> RegistryKey::OpenForNotification(RegistryKeyPath path,
                                                            Registry& registry) {
    return OpenIfThere(std::move(path), registry_access::kNotify, registry);
}

RegistryKey RegistryKey::Create(RegistryKeyPath path, Registry& registry) {
    RegistryKey key(registry, std::move(path));
    RegistryHandle created{};
    CheckOpened(registry.Create(key.path_.root, key.path_.path,
                                registry_access::kWrite | ViewOf(key.path_), created),
                "Cannot create registry key ", key.path_, registry_access::kWrite);
    key.handle_ = created;
    return key;
}

platform::RegistryKeyInfo RegistryKey::Info() const {
    platform::RegistryKeyInfo info;
    CheckKey(registry_->QueryInfo(handle_, info), "Cannot query registry key ", path_);
    return info;
}

template <class Take>
system_error_t RegistryKey::ForEachKey(Take take) const {
    return Enumerate([&](std::uint32_t index) {
        RegistrySubkey key{};
        const system_error_t error =
            registry_->EnumerateKey(handle_, index, key.name, key.last_write);
        if (error == system_error::kNone) take(std::move(key));
        return error;
    });
}

std::vector<std::u16string> RegistryKey::Subkeys() const {
    std::vector<std::u16string> names;
    CheckKey(ForEachKey([&](RegistrySubkey key) { names.push_back(std::move(key.name)); }),
             "Cannot enumerate subkeys in registry key ", path_);
    return names;
}

std::vector<RegistrySubkey> RegistryKey::Keys() const {
    std::vector<RegistrySubkey> keys;
    CheckKey(ForEachKey([&](RegistrySubkey key) { keys.push_back(std::move(key)); }),
             "Cannot enumerate keys in registry key ", path_);
    return keys;
}

std::vector<RegistryValueName> RegistryKey::Values() const {
    std::vector<RegistryValueName> values;
    const auto next = [&](std::uint32_t index) {
        RegistryValueName value{};
        const system_error_t error =
            registry_->EnumerateValue(handle_, index, value.name, value.type);
        if (error == system_error::kNone) values.push_back(std::move(value));
        return error;
    };
    CheckKey(Enumerate(next), "Cannot enumerate values in registry key ", path_);
    return values;
}

RegistryValue RegistryKey::QueryValue(std::u16string_view name) const {
    RegistryValue value;
    CheckValue(registry_->QueryValue(handle_, name, value), "Cannot query registry value \"", name,
               " in key ", path_);
    return value;
}

std::optional<RegistryValue> RegistryKey::QueryValueIfThere(std::u16string_view name) const {
    RegistryValue value;
    const system_error_t error = registry_->QueryValue(handle_, name, value);
    if (error == system_error::kFileNotFound) return std::nullopt;
    CheckValue(error, "Cannot query registry value \"", name, " in key ", path_);
    return value;
}

RegistryValue RegistryKey::Get(std::u16string_view name, RegistryType type) const {
    RegistryValue value;
    CheckValue(QueryTyped(*registry_, handle_, name, type, value), "Cannot get registry value \"",
               name, " from key ", path_);
    return value;
}

std::u16string RegistryKey::GetString(std::u16string_view name) const {
    return TextIn(Get(name, RegistryType::kString));
}

std::uint32_t RegistryKey::GetDword(std::u16string_view name) const {
    std::uint32_t number = 0;
    std::memcpy(&number, Get(name, RegistryType::kDword).data.data(), sizeof number);
    return number;
}

std::vector<std::byte> RegistryKey::GetBinary(std::u16string_view name) const {
    return Get(name, RegistryType::kBinary).data;
}

void RegistryKey::SetString(std::u16string_view name, std::u16string_view value) const {
    CheckValue(StoreString(*registry_, handle_, name, value), "Cannot set string registry value \"",
               name, " in key ", path_);
}

void RegistryKey::SetDword(std::u16string_view name, std::uint32_t value) const {
    CheckValue(registry_->SetValue(handle_, name, RegistryType::kDword,
                                   std::as_bytes(std::span(&value, 1))),
               "Cannot set REG_DWORD registry value \"", name, " in key ", path_);
}

void RegistryKey::SetBinary(std::u16string_view name, std::span<const std::byte> value) const {
    CheckValue(registry_->SetValue(handle_, name, RegistryType::kBinary, value),
               "Cannot set REG_BINARY registry value \"", name, " in key ", path_);
}

void RegistryKey::DeleteValue(std::u16string_view name) const {
    CheckValue(registry_->DeleteValue(handle_, name), "Cannot delete registry value \"", name,
               " in key ", path_);
}

system_error_t RegistryKey::Notify(platform::Event& event) const {
    return registry_->NotifyChange(handle_, event);
}

system_error_t RegistryErrorOf(const vek::CheckFailedException& failure) noexcept {
    const auto* detail = dynamic_cast<const RegistryError*>(failure.detail());
    return detail != nullptr ? detail->error : system_error::kGenFailure;
}

void DeleteKey(const RegistryKeyPath& path, Registry& registry) {
    CheckKey(registry.DeleteKey(path.root, path.path, ViewOf(path)), "Cannot delete registry key ",
             path);
}

system_error_t ReadString(const RegistryKeyPath& path, std::u16string_view name,
                          std::u16string& value, Registry& registry) {
    return WithKey(registry, path, registry_access::kRead, [&](RegistryHandle key) {
        RegistryValue stored;
        const system_error_t error = QueryTyped(registry, key, name, RegistryType::kString, stored);
        if (error == system_error::kNone) value = TextIn(stored);
        return error;
    });
}

system_error_t WriteString(const RegistryKeyPath& path, std::u16string_view name,
                           std::u16string_view value, Registry& registry) {
    return WithKey(registry, path, registry_access::kSetValue,
                   [&](RegistryHandle key) { return StoreString(registry, key, name, value); });
}

system_error_t RemoveValue(const RegistryKeyPath& path, std::u16string_view name,
                           Registry& registry) {
    return WithKey(registry, path, registry_access::kSetValue,
                   [&](RegistryHandle key) { return registry.DeleteValue(key, name); });
}

}  // namespace plugins::helpers
