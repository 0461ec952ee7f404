#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "com/registration_script.h"
#include "internal/helpers/registry_impl.h"

namespace plugins::com {

// Writes registration scripts into the registry's 64-bit view, and takes out what they wrote: a
// transaction. What is not committed when it ends is undone, the last change first, and keys and
// values with their types and data are then as they were; an undoing that fails goes on with the
// rest. (What was removed comes back by the name that the script has for it, in its letters; a key
// with the security and time of a new one.)
//
//     Registrar registrar;
//     registrar.Register(scripts, replacements);
//     registrar.Keep({RegistryHandle::kClassesRoot, u"TypeLib\\{...}"});
//     CheckHResult(::RegisterTypeLib(...));
//     registrar.Commit();
//
// Operations raise HResultCodeException: the registry's error, or DISP_E_EXCEPTION for a script
// that is none, with its place. One thread at a time.
class Registrar {
public:
    // `registry` outlives it.
    explicit Registrar(helpers::Registry& registry = vek::platform::TheRegistry()) noexcept
        : registry_(registry) {}
    ~Registrar();
    Registrar(const Registrar&) = delete;
    Registrar& operator=(const Registrar&) = delete;

    // Writes what the scripts say. All are read before anything is written.
    void Register(std::span<const std::string_view> scripts,
                  std::span<const Replacement> replacements);

    // Takes out what Register writes. What is not there is done.
    void Unregister(std::span<const std::string_view> scripts,
                    std::span<const Replacement> replacements);

    // Remembers a key with all below it, there or not, which others are about to change: the
    // undoing covers it.
    void Keep(const helpers::RegistryKeyPath& key);

    // Makes all changes so far last.
    void Commit() noexcept { before_.clear(); }

private:
    struct NamedValue {
        std::u16string name;
        vek::platform::RegistryValue value;
    };
    struct KeyTree {
        std::u16string name;
        std::vector<NamedValue> values;
        std::vector<KeyTree> keys;
    };
    // A key or a value before a change; nothing when it was not there.
    struct KeyBefore {
        helpers::RegistryKeyPath path;
        std::optional<KeyTree> tree;
    };
    struct ValueBefore {
        helpers::RegistryKeyPath path;
        std::u16string name;
        std::optional<vek::platform::RegistryValue> value;
    };

    using Action = void (Registrar::*)(const helpers::RegistryKeyPath&, const ScriptKey&);
    void Run(Action action, std::span<const std::string_view> scripts,
             std::span<const Replacement> replacements);

    void WriteContent(const helpers::RegistryKeyPath& path, const ScriptKey& key);
    void RemoveContent(const helpers::RegistryKeyPath& path, const ScriptKey& key);

    // Changes, each remembered first.
    void CreateKey(const helpers::RegistryKeyPath& path);
    void SetValue(const helpers::RegistryKeyPath& path, const ScriptValue& value);
    void RemoveValue(const helpers::RegistryKeyPath& path, const std::u16string& name);
    void RemoveWhole(const helpers::RegistryKeyPath& path);
    void RemoveIfEmpty(const helpers::RegistryKeyPath& path);

    bool IsThere(const helpers::RegistryKeyPath& path) const;
    std::optional<vek::platform::RegistryValue> ValueIn(const helpers::RegistryKeyPath& path,
                                                        const std::u16string& name) const;
    std::optional<KeyTree> TreeOf(const helpers::RegistryKeyPath& path) const;
    void DeleteTree(const helpers::RegistryKeyPath& path) const;

    void Undo(const KeyBefore& before) const;
    void Undo(const ValueBefore& before) const;
    void Restore(const helpers::RegistryKeyPath& path, const KeyTree& tree) const;

    helpers::Registry& registry_;
    std::vector<std::variant<KeyBefore, ValueBefore>> before_;
};

}  // namespace plugins::com
