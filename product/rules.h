#pragma once

// The rules by which the scanner treats mail. rules.md describes the form of a rules file.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace reference_product {

// The messages that a rule is for.
enum class Event { kBoth, kIncoming, kOutgoing };

// The part of a message that a condition looks at.
enum class Field {
    kSender,
    kSubject,
    kHeader,
    kBody,
    kBodyFind,
    kAttachmentName,
    kAttachmentType,
    kAttachmentContent,
    kAttachmentFind
};

// The way in which a condition compares the part with its text.
enum class Comparison { kContains, kIs, kMatches };

// One condition of a rule.
struct Condition {
    bool negated = false;
    Field field = Field::kSubject;
    Comparison comparison = Comparison::kContains;
    std::string text;
    // The text's index in RuleSet::content_texts, for kBody and kAttachmentContent.
    std::size_t content_text = 0;

    bool OnAttachment() const noexcept { return field >= Field::kAttachmentName; }
};

// The kinds of changes that a rule can ask for.
enum class ActionKind {
    kSetSubject,
    kSetProperty,
    kSetHeader,
    kAddHeader,
    kAppendNotice,
    kRenameAttachment,
    kDeleteAttachment,
    kReplaceAttachment
};

// One change that a rule asks for.
struct Action {
    ActionKind kind = ActionKind::kSetSubject;
    std::uint32_t tag = 0;  // for kSetProperty, a MAPI tag of type PT_STRING8 (mapidefs.h)
    std::string text;
};

// A line of a rules file.
struct Rule {
    std::size_t line = 0;
    Event event = Event::kBoth;
    std::vector<Condition> conditions;  // all must hold; empty for "any"
    std::vector<Action> actions;
};

// The rules of a file, in its order.
struct RuleSet {
    std::vector<Rule> rules;
    std::vector<std::string> content_texts;
    std::uint64_t version = 0;  // of the text, by which others tell it from another

    // Tells whether any condition looks at `field`.
    bool Uses(Field field) const noexcept;
};

// A malformed line. Lines and columns count from 1, columns in bytes; both are 0 when the whole
// file cannot be used.
struct RuleError {
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;
    std::string expected;
    std::string found;
};

// "rules.txt:3:14: expected 'contains', 'is' or 'matches', found 'has'"
std::string ToText(const RuleError& error);

// The result of parsing a file.
struct ParsedRules {
    RuleSet rules;                  // of the well-formed lines
    std::vector<RuleError> errors;  // at most one for each line, in order
};

// Parses the text of a rules file; errors carry the name `file`. Raises only for want of memory,
// whatever `text` holds.
ParsedRules ParseRules(std::string_view text, std::string_view file);

// Reads and parses a file. One that cannot be read, or is longer than 1 MiB, gives one error.
ParsedRules LoadRules(const std::filesystem::path& file);

}  // namespace reference_product
