#include "sandbox/registry/memory_registry.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sandbox {

namespace system_error = vek::platform::system_error;
namespace access = vek::platform::registry_access;
using vek::platform::RegistryValue;

namespace {

char16_t Folded(char16_t unit) {
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

bool Equal(std::u16string_view a, std::u16string_view b) {
    return std::ranges::equal(a, b, {}, Folded, Folded);
}

// The first name of a path, which is taken off.
std::u16string TakeName(std::u16string_view& path) {
    const std::size_t end = std::min(path.find(u'\\'), path.size());
    const std::u16string name(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
    return name;
}

constexpr std::u16string_view kRedirected = u"Software";

}  // namespace

struct MemoryRegistry::Node {
    struct IgnoringCase {
        bool operator()(const std::u16string& a, const std::u16string& b) const {
            return std::ranges::lexicographical_compare(a, b, {}, Folded, Folded);
        }
    };
    std::u16string name = {};
    Node* parent = nullptr;
    std::map<std::u16string, NodePtr, IgnoringCase> subkeys = {};
    std::map<std::u16string, RegistryValue, IgnoringCase> values = {};
    Time last_write = 0;
    bool deleted = false;
};

struct MemoryRegistry::OpenedKey {
    NodePtr node = {};
    Access access = 0;
    vek::platform::Event* armed = nullptr;
};

MemoryRegistry::MemoryRegistry() {
    for (const Handle root : {Handle::kClassesRoot, Handle::kCurrentUser, Handle::kLocalMachine})
        roots_[root] = std::make_shared<Node>();
}

MemoryRegistry::~MemoryRegistry() = default;

void MemoryRegistry::Refuse(Call call, Error error) {
    const std::lock_guard guard(lock_);
    refusals_[call] = error;
}

MemoryRegistry::Error MemoryRegistry::Refused(Call call) const {
    const auto found = refusals_.find(call);
    return found == refusals_.end() ? system_error::kNone : found->second;
}

void MemoryRegistry::Set(Name path, Name name, Name text) {
    const std::lock_guard guard(lock_);
    NodePtr node;
    Walk(Handle::kLocalMachine, path, 0, true, node);
    const Handle key = Add(node, access::kSetValue);
    std::u16string terminated(text);
    SetValue(key, name, Type::kString,
             std::as_bytes(std::span(terminated.c_str(), terminated.size() + 1)));
    Close(key);
}

std::optional<std::u16string> MemoryRegistry::Text(Name path, Name name) {
    const std::lock_guard guard(lock_);
    NodePtr node;
    if (Walk(Handle::kLocalMachine, path, 0, false, node) != system_error::kNone)
        return std::nullopt;
    const auto found = node->values.find(std::u16string(name));
    if (found == node->values.end()) return std::nullopt;
    const auto& data = found->second.data;
    std::u16string text(data.size() / sizeof(char16_t), u'\0');
    if (!text.empty()) std::memcpy(text.data(), data.data(), text.size() * sizeof(char16_t));
    return text.substr(0, text.find(u'\0'));
}

void MemoryRegistry::DeleteTree(Name path) {
    const std::lock_guard guard(lock_);
    NodePtr node;
    if (Walk(Handle::kLocalMachine, path, 0, false, node) != system_error::kNone) return;
    while (!node->subkeys.empty())
        DeleteTree(std::u16string(path) + u'\\' + node->subkeys.begin()->first);
    DeleteKey(Handle::kLocalMachine, path, 0);
}

std::size_t MemoryRegistry::open_keys() const {
    const std::lock_guard guard(lock_);
    return opened_.size();
}

std::size_t MemoryRegistry::armed_keys() const {
    const std::lock_guard guard(lock_);
    return static_cast<std::size_t>(std::ranges::count_if(
        opened_, [](const auto& entry) { return entry.second.armed != nullptr; }));
}

// The key behind a handle that has `right`.
MemoryRegistry::Error MemoryRegistry::Find(Handle key, Access right, NodePtr& node) const {
    if (const auto root = roots_.find(key); root != roots_.end()) {
        node = root->second;
        return system_error::kNone;
    }
    const auto found = opened_.find(key);
    if (found == opened_.end()) return system_error::kInvalidHandle;
    if ((found->second.access & right) != right) return system_error::kAccessDenied;
    node = found->second.node;
    return node->deleted ? system_error::kKeyDeleted : system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::Walk(Handle root, Name path, Access wanted, bool create,
                                           NodePtr& node) {
    if (const Error error = Find(root, 0, node); error != system_error::kNone) return error;
    std::u16string in_view(path);
    Name rest = path;
    if (root == Handle::kLocalMachine && (wanted & access::kView32) != 0 &&
        Equal(TakeName(rest), kRedirected)) {
        in_view = u"Software\\Wow6432Node";
        if (!rest.empty()) in_view.append(u"\\").append(rest);
    }
    for (rest = in_view; !rest.empty();) {
        const std::u16string name = TakeName(rest);
        if (name.size() > 255) return system_error::kInvalidParameter;
        NodePtr& below = node->subkeys[name];
        if (!below && !create) {
            node->subkeys.erase(name);
            return system_error::kFileNotFound;
        }
        if (!below) {
            below = std::make_shared<Node>(Node{.name = name, .parent = node.get()});
            Changed(*below, false);
            Changed(*node, false);
        }
        node = NodePtr(below);
    }
    return system_error::kNone;
}

MemoryRegistry::Handle MemoryRegistry::Add(NodePtr node, Access wanted) {
    last_handle_ += 4;
    opened_[Handle{last_handle_}] = {std::move(node), wanted};
    return Handle{last_handle_};
}

// Those that wait for a change of a value are told, the key's own and those above it.
void MemoryRegistry::Changed(Node& node, bool tells) {
    node.last_write = ++now_;
    for (const Node* above = &node; tells && above != nullptr; above = above->parent)
        for (auto& [handle, opened] : opened_)
            if (opened.node.get() == above && opened.armed != nullptr)
                std::exchange(opened.armed, nullptr)->Set();
}

MemoryRegistry::Error MemoryRegistry::Open(Handle root, Name path, Access wanted, Handle& key) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kOpen)) return refused;
    NodePtr node;
    const Error error = Walk(root, path, wanted, false, node);
    if (error == system_error::kNone) key = Add(std::move(node), wanted);
    return error;
}

MemoryRegistry::Error MemoryRegistry::Create(Handle root, Name path, Access wanted, Handle& key) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kCreate)) return refused;
    NodePtr node;
    const Error error = Walk(root, path, wanted, true, node);
    if (error == system_error::kNone) key = Add(std::move(node), wanted);
    return error;
}

void MemoryRegistry::Close(Handle key) noexcept {
    const std::lock_guard guard(lock_);
    const auto found = opened_.find(key);
    if (found == opened_.end()) return;
    if (found->second.armed != nullptr) found->second.armed->Set();
    opened_.erase(found);
}

MemoryRegistry::Error MemoryRegistry::QueryInfo(Handle key, vek::platform::RegistryKeyInfo& info) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kQueryInfo)) return refused;
    NodePtr node;
    const Error error = Find(key, access::kQueryValue, node);
    if (error == system_error::kNone)
        info = {static_cast<std::uint32_t>(node->subkeys.size()),
                static_cast<std::uint32_t>(node->values.size()), node->last_write};
    return error;
}

MemoryRegistry::Error MemoryRegistry::EnumerateKey(Handle key, std::uint32_t index,
                                                   std::u16string& name, Time& last_write) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kEnumerateKey)) return refused;
    NodePtr node;
    if (const Error error = Find(key, access::kEnumerateSubkeys, node)) return error;
    if (index >= node->subkeys.size()) return system_error::kNoMoreItems;
    const Node& found = *std::next(node->subkeys.begin(), index)->second;
    name = found.name;
    last_write = found.last_write;
    return system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::EnumerateValue(Handle key, std::uint32_t index,
                                                     std::u16string& name, Type& type) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kEnumerateValue)) return refused;
    NodePtr node;
    if (const Error error = Find(key, access::kQueryValue, node)) return error;
    if (index >= node->values.size()) return system_error::kNoMoreItems;
    const auto found = std::next(node->values.begin(), index);
    name = found->first;
    type = found->second.type;
    return system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::QueryValue(Handle key, Name name, RegistryValue& value) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kQueryValue)) return refused;
    NodePtr node;
    if (const Error error = Find(key, access::kQueryValue, node)) return error;
    const auto found = node->values.find(std::u16string(name));
    if (found == node->values.end()) return system_error::kFileNotFound;
    value = found->second;
    return system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::SetValue(Handle key, Name name, Type type,
                                               std::span<const std::byte> data) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kSetValue)) return refused;
    NodePtr node;
    if (const Error error = Find(key, access::kSetValue, node)) return error;
    const auto [place, made] = node->values.try_emplace(std::u16string(name));
    RegistryValue& value = place->second;
    const bool same = !made && value.type == type && std::ranges::equal(value.data, data);
    value = {type, {data.begin(), data.end()}};
    Changed(*node, !same);
    return system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::DeleteValue(Handle key, Name name) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kDeleteValue)) return refused;
    NodePtr node;
    if (const Error error = Find(key, access::kSetValue, node)) return error;
    if (node->values.erase(std::u16string(name)) == 0) return system_error::kFileNotFound;
    Changed(*node, true);
    return system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::DeleteKey(Handle root, Name path, Access view) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kDeleteKey)) return refused;
    NodePtr node;
    if (const Error error = Walk(root, path, view, false, node)) return error;
    if (!node->subkeys.empty() || node->parent == nullptr) return system_error::kAccessDenied;
    Node& above = *node->parent;
    node->deleted = true;
    node->parent = nullptr;
    above.subkeys.erase(node->name);
    Changed(above, false);
    return system_error::kNone;
}

MemoryRegistry::Error MemoryRegistry::NotifyChange(Handle key, vek::platform::Event& event) {
    const std::lock_guard guard(lock_);
    if (const Error refused = Refused(Call::kNotifyChange)) return refused;
    NodePtr node;
    if (const Error error = Find(key, access::kNotify, node)) return error;
    if (const auto opened = opened_.find(key); opened != opened_.end())
        opened->second.armed = &event;
    return system_error::kNone;
}

}  // namespace sandbox
