#pragma once

// What the product's rules say. The form of a rules file is in rules.md.

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace reference_product {

enum class Event { kBoth, kIncoming, kOutgoing };

// What a condition looks at.
enum class Field {
    kSender,
    kSubject,
    kHeader,
    kBody,
    kAttachmentName,
    kAttachmentType,
    kAttachmentContent
};

enum class Comparison { kContains, kIs, kMatches };

struct Condition {
    bool negated = false;
    Field field = Field::kSubject;
    Comparison comparison = Comparison::kContains;
    std::string text;
    // For kBody and kAttachmentContent: which of RuleSet::content_texts it is.
    std::size_t content_text = 0;

    bool OnAttachment() const noexcept { return field >= Field::kAttachmentName; }
};

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

struct Action {
    ActionKind kind = ActionKind::kSetSubject;
    std::uint32_t tag = 0;  // of kSetProperty: a MAPI tag of type PT_STRING8 (mapidefs.h)
    std::string text;
};

struct Rule {
    std::size_t line = 0;
    Event event = Event::kBoth;
    std::vector<Condition> conditions;  // all of them must hold; none: every message
    std::vector<Action> actions;
};

struct RuleSet {
    std::vector<Rule> rules;
    std::vector<std::string> content_texts;

    // Whether any condition looks at `field`.
    bool Uses(Field field) const noexcept;
};

// A line that is no rule. Lines and columns count from 1, columns in bytes; both are 0 when it is
// the file that cannot be used.
struct RuleError {
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;
    std::string expected;
    std::string found;
};

// "rules.txt:3:14: expected 'contains', 'is' or 'matches', found 'has'"
std::string ToText(const RuleError& error);

struct ParsedRules {
    RuleSet rules;                  // of the lines that are right
    std::vector<RuleError> errors;  // at most one for each line, in order
};

// `file` is the name that errors carry. Raises only for want of memory, whatever `text` holds.
ParsedRules ParseRules(std::string_view text, std::string_view file);

// The same of a file's content; a file that cannot be read, or is longer than 1 MiB, gives one
// error.
ParsedRules LoadRules(const std::filesystem::path& file);

}  // namespace reference_product
