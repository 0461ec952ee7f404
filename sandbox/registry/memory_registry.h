#pragma once

// A stand-in for the system's registry, in memory.

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "vek/platform/registry.h"

namespace sandbox {

// As strict as the system's: an operation needs its right of the opened key, the two views of
// "HKEY_LOCAL_MACHINE\Software" are apart, a deleted key answers nothing more, a key with subkeys
// cannot be deleted, names are looked for whatever their case. Of notification it does what every
// version does: the same data again, an empty subkey made or deleted and a deleted key tell nobody.
// Any thread may call it.
class MemoryRegistry : public vek::platform::Registry {
    using Error = vek::platform::system_error_t;
    using Handle = vek::platform::RegistryHandle;
    using Access = vek::platform::registry_access_t;
    using Type = vek::platform::RegistryType;
    using Time = vek::platform::filetime_t;
    using Name = std::u16string_view;

public:
    enum class Call {
        kOpen,
        kCreate,
        kQueryInfo,
        kEnumerateKey,
        kEnumerateValue,
        kQueryValue,
        kSetValue,
        kDeleteValue,
        kDeleteKey,
        kNotifyChange,
    };

    MemoryRegistry();
    ~MemoryRegistry() override;

    // From now on calls of a kind give `error`; kNone ends that.
    void Refuse(Call call, Error error);

    // Of the local machine's 64-bit view. Set makes the key, too.
    void Set(Name path, Name name, Name text);
    std::optional<std::u16string> Text(Name path, Name name);
    // Deletes the key with all below it.
    void DeleteTree(Name path);

    // How many opened keys there are, and how many that wait for a change.
    std::size_t open_keys() const;
    std::size_t armed_keys() const;

    Error Open(Handle root, Name path, Access access, Handle& key) override;
    Error Create(Handle root, Name path, Access access, Handle& key) override;
    void Close(Handle key) noexcept override;
    Error QueryInfo(Handle key, vek::platform::RegistryKeyInfo& info) override;
    Error EnumerateKey(Handle key, std::uint32_t index, std::u16string& name,
                       Time& last_write) override;
    Error EnumerateValue(Handle key, std::uint32_t index, std::u16string& name,
                         Type& type) override;
    Error QueryValue(Handle key, Name name, vek::platform::RegistryValue& value) override;
    Error SetValue(Handle key, Name name, Type type, std::span<const std::byte> data) override;
    Error DeleteValue(Handle key, Name name) override;
    Error DeleteKey(Handle root, Name path, Access view) override;
    Error NotifyChange(Handle key, vek::platform::Event& event) override;

private:
    struct Node;
    struct OpenedKey;
    using NodePtr = std::shared_ptr<Node>;

    Error Refused(Call call) const;
    Error Find(Handle key, Access right, NodePtr& node) const;
    Error Walk(Handle root, Name path, Access access, bool create, NodePtr& node);
    Handle Add(NodePtr node, Access access);
    void Changed(Node& node, bool tells);

    mutable std::recursive_mutex lock_;
    std::map<Call, Error> refusals_;
    std::map<Handle, NodePtr> roots_;
    std::map<Handle, OpenedKey> opened_;
    std::intptr_t last_handle_ = 0x100;
    Time now_ = 0;
};

}  // namespace sandbox
