#pragma once

// Registration scripts: what a COM class writes into the registry, in the format of ATL's
// registrar.
//
//     HKCR                                   or HKLM, HKCU, or their long names
//     {
//         NoRemove CLSID                     kept at removal
//         {
//             ForceRemove {clsid} = s 'text' removed whole, at registration first
//             {
//                 val 'Name' = d 3           s text, d number (&H, 0x), b bytes in hexadecimal
//             }
//         }
//         Delete 'Old name'                  removed at registration
//     }
//
// White space ends a bare word; a word in apostrophes has '' for an apostrophe and is no keyword.
// Keywords and roots are written in either case. %NAME% stands for a replacement, %% for a percent
// sign: within the word that was read, so that a replacement may hold whatever it likes. A script
// is ASCII without a byte order mark.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace plugins::com {

// What stands for %name% in a script. The name may be written in either case.
struct Replacement {
    std::string_view name;
    std::u16string_view value;
};

// REG_SZ, REG_DWORD or REG_BINARY.
using ScriptData = std::variant<std::u16string, std::uint32_t, std::vector<std::uint8_t>>;

// An empty name is the key's default value.
struct ScriptValue {
    std::u16string name;
    ScriptData data;

    friend bool operator==(const ScriptValue&, const ScriptValue&) = default;
};

// What removal does to a key.
enum class KeyKind {
    kPlain,        // removes it when nothing foreign is left in it
    kNoRemove,     // leaves it and its default value
    kForceRemove,  // removes it whole, as registration does first
    kDelete        // nothing: registration removes it, and it has no content
};

struct ScriptKey {
    KeyKind kind = KeyKind::kPlain;
    std::u16string name;  // one step of a path
    std::vector<ScriptValue> values;
    std::vector<ScriptKey> keys;  // in the script's order

    friend bool operator==(const ScriptKey&, const ScriptKey&) = default;
};

enum class ScriptRoot { kClassesRoot, kLocalMachine, kCurrentUser };

// What a script says below one root. The content is a kNoRemove key without a name.
struct RootContent {
    ScriptRoot root;
    ScriptKey content;

    friend bool operator==(const RootContent&, const RootContent&) = default;
};

// Where a script is wrong. Both count from 1, columns in bytes.
struct ScriptError {
    std::size_t line = 0;
    std::size_t column = 0;
    std::string expected;

    // "3:14: expected '='"
    std::string ToText() const;

    friend bool operator==(const ScriptError&, const ScriptError&) = default;
};

// The result of parsing: a script, or where and why it is none.
using ParsedScript = std::variant<std::vector<RootContent>, ScriptError>;

// Parses a script. A key that others depend on (CLSID, Software, ...) cannot be removed whole.
// Raises only for want of memory, whatever `text` holds. Any thread.
ParsedScript ParseRegistrationScript(std::string_view text,
                                     std::span<const Replacement> replacements);

}  // namespace plugins::com
