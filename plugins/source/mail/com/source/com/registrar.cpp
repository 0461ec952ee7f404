#include "com/registrar.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/text.h"

namespace plugins::com {
namespace {

using helpers::RegistryBitness;
using helpers::RegistryHandle;
using helpers::RegistryKey;
using helpers::RegistryKeyPath;
namespace registry_access = helpers::registry_access;

// Oleauto's DISP_E_EXCEPTION, with which registrars refuse a script.
constexpr auto kBadScript = static_cast<helpers::hresult_t>(0x80020009u);

RegistryKeyPath PathOf(ScriptRoot root) {
    switch (root) {
        case ScriptRoot::kClassesRoot:
            return {RegistryHandle::kClassesRoot, {}, RegistryBitness::k64};
        case ScriptRoot::kLocalMachine:
            return {RegistryHandle::kLocalMachine, {}, RegistryBitness::k64};
        default:
            return {RegistryHandle::kCurrentUser, {}, RegistryBitness::k64};
    }
}

RegistryKeyPath Below(const RegistryKeyPath& path, std::u16string_view name) {
    RegistryKeyPath below = path;
    if (!below.path.empty()) below.path += u'\\';
    below.path += name;
    return below;
}

std::vector<RootContent> Parsed(std::span<const std::string_view> scripts,
                                std::span<const Replacement> replacements) {
    std::vector<RootContent> roots;
    for (std::size_t i = 0; i < scripts.size(); ++i) {
        ParsedScript parsed = ParseRegistrationScript(scripts[i], replacements);
        if (const auto* error = std::get_if<ScriptError>(&parsed)) {
            const std::string place = "Registration script " + std::to_string(i + 1) + ":";
            throw helpers::HResultCodeException(
                vek::SourceLocation::Here(), kBadScript,
                vek::wide_string_t(vek::ToUtf16(place + error->ToText())));
        }
        std::ranges::move(std::get<0>(parsed), std::back_inserter(roots));
    }
    return roots;
}

// Runs `body`; a failure of the registry becomes the HRESULT of its error.
template <class Body>
void WithHResult(Body body) {
    try {
        body();
    } catch (const vek::CheckFailedException& failure) {
        throw helpers::HResultCodeException(
            failure.location(), helpers::HResultFromWin32(helpers::RegistryErrorOf(failure)),
            failure.message());
    }
}

// Runs one step of an undoing, whose failure leaves the others to be made.
template <class Step>
void Attempt(Step step) noexcept {
    try {
        step();
    } catch (...) {
    }
}

}  // namespace

Registrar::~Registrar() {
    for (; !before_.empty(); before_.pop_back())
        std::visit([this](const auto& before) { Attempt([&] { Undo(before); }); }, before_.back());
}

void Registrar::Register(std::span<const std::string_view> scripts,
                         std::span<const Replacement> replacements) {
    Run(&Registrar::WriteContent, scripts, replacements);
}

void Registrar::Unregister(std::span<const std::string_view> scripts,
                           std::span<const Replacement> replacements) {
    Run(&Registrar::RemoveContent, scripts, replacements);
}

void Registrar::Keep(const RegistryKeyPath& key) {
    WithHResult([&] { before_.push_back(KeyBefore{key, TreeOf(key)}); });
}

void Registrar::Run(Action action, std::span<const std::string_view> scripts,
                    std::span<const Replacement> replacements) {
    const std::vector<RootContent> roots = Parsed(scripts, replacements);
    WithHResult([&] {
        for (const auto& [root, content] : roots) (this->*action)(PathOf(root), content);
    });
}

void Registrar::WriteContent(const RegistryKeyPath& path, const ScriptKey& key) {
    for (const ScriptValue& value : key.values) SetValue(path, value);
    for (const ScriptKey& inner : key.keys) {
        const RegistryKeyPath below = Below(path, inner.name);
        if (inner.kind == KeyKind::kForceRemove || inner.kind == KeyKind::kDelete)
            RemoveWhole(below);
        if (inner.kind == KeyKind::kDelete) continue;
        CreateKey(below);
        WriteContent(below, inner);
    }
}

void Registrar::RemoveContent(const RegistryKeyPath& path, const ScriptKey& key) {
    for (const ScriptValue& value : key.values)
        if (key.kind != KeyKind::kNoRemove || !value.name.empty()) RemoveValue(path, value.name);
    for (const ScriptKey& inner : key.keys) {
        const RegistryKeyPath below = Below(path, inner.name);
        if (inner.kind == KeyKind::kForceRemove) RemoveWhole(below);
        if (inner.kind == KeyKind::kForceRemove || inner.kind == KeyKind::kDelete) continue;
        if (!IsThere(below)) continue;
        RemoveContent(below, inner);
        if (inner.kind == KeyKind::kPlain) RemoveIfEmpty(below);
    }
}

void Registrar::CreateKey(const RegistryKeyPath& path) {
    if (IsThere(path)) return;
    before_.push_back(KeyBefore{path, std::nullopt});
    RegistryKey::Create(path, registry_);
}

void Registrar::SetValue(const RegistryKeyPath& path, const ScriptValue& value) {
    before_.push_back(ValueBefore{path, value.name, ValueIn(path, value.name)});
    const RegistryKey key = RegistryKey::Open(path, registry_access::kWrite, registry_);
    if (const auto* text = std::get_if<std::u16string>(&value.data)) {
        key.SetString(value.name, *text);
    } else if (const auto* number = std::get_if<std::uint32_t>(&value.data)) {
        key.SetDword(value.name, *number);
    } else {
        const auto& bytes = std::get<std::vector<std::uint8_t>>(value.data);
        key.SetBinary(value.name, std::as_bytes(std::span(bytes)));
    }
}

void Registrar::RemoveValue(const RegistryKeyPath& path, const std::u16string& name) {
    auto value = ValueIn(path, name);
    if (!value) return;
    before_.push_back(ValueBefore{path, name, std::move(value)});
    RegistryKey::Open(path, registry_access::kWrite, registry_).DeleteValue(name);
}

void Registrar::RemoveWhole(const RegistryKeyPath& path) {
    auto tree = TreeOf(path);
    if (!tree) return;
    before_.push_back(KeyBefore{path, std::move(tree)});
    DeleteTree(path);
}

void Registrar::RemoveIfEmpty(const RegistryKeyPath& path) {
    const auto info = RegistryKey::Open(path, registry_access::kRead, registry_).Info();
    if (info.subkeys == 0 && info.values == 0) RemoveWhole(path);
}

bool Registrar::IsThere(const RegistryKeyPath& path) const {
    return RegistryKey::OpenIfThere(path, registry_access::kRead, registry_).has_value();
}

std::optional<vek::platform::RegistryValue> Registrar::ValueIn(const RegistryKeyPath& path,
                                                               const std::u16string& name) const {
    return RegistryKey::Open(path, registry_access::kRead, registry_).QueryValueIfThere(name);
}

auto Registrar::TreeOf(const RegistryKeyPath& path) const -> std::optional<KeyTree> {
    const auto key = RegistryKey::OpenIfThere(path, registry_access::kRead, registry_);
    if (!key) return {};
    KeyTree tree;
    for (auto& value : key->Values()) {
        auto stored = key->QueryValue(value.name);
        tree.values.push_back({std::move(value.name), std::move(stored)});
    }
    for (auto& name : key->Subkeys()) {
        auto inner = TreeOf(Below(path, name));
        if (!inner) continue;
        inner->name = std::move(name);
        tree.keys.push_back(*std::move(inner));
    }
    return tree;
}

void Registrar::DeleteTree(const RegistryKeyPath& path) const {
    {
        const auto key = RegistryKey::OpenIfThere(path, registry_access::kRead, registry_);
        if (!key) return;
        for (const auto& name : key->Subkeys()) DeleteTree(Below(path, name));
    }
    helpers::DeleteKey(path, registry_);
}

void Registrar::Undo(const KeyBefore& before) const {
    if (before.tree) {
        Restore(before.path, *before.tree);
    } else {
        DeleteTree(before.path);
    }
}

// An undoing goes on whatever fails, and may set values of any type: it asks the system itself.
void Registrar::Undo(const ValueBefore& before) const {
    const auto key = RegistryKey::OpenIfThere(before.path, registry_access::kWrite, registry_);
    if (!key) return;
    if (before.value) {
        registry_.SetValue(key->handle(), before.name, before.value->type, before.value->data);
    } else {
        registry_.DeleteValue(key->handle(), before.name);
    }
}

// Changes what differs alone: what a failed change could not touch need not be touched again.
void Registrar::Restore(const RegistryKeyPath& path, const KeyTree& tree) const {
    const RegistryKey key = RegistryKey::Create(path, registry_);
    const RegistryKey now = RegistryKey::Open(path, registry_access::kRead, registry_);
    Attempt([&] {
        for (const auto& name : now.Subkeys())
            if (std::ranges::find(tree.keys, name, &KeyTree::name) == tree.keys.end())
                Attempt([&] { DeleteTree(Below(path, name)); });
    });
    Attempt([&] {
        for (const auto& value : now.Values())
            if (std::ranges::find(tree.values, value.name, &NamedValue::name) == tree.values.end())
                registry_.DeleteValue(key.handle(), value.name);
    });
    for (const auto& [name, value] : tree.values)
        registry_.SetValue(key.handle(), name, value.type, value.data);
    for (const KeyTree& inner : tree.keys)
        Attempt([&] { Restore(Below(path, inner.name), inner); });
}

}  // namespace plugins::com
