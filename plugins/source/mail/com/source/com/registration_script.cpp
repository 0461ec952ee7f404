#include "com/registration_script.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace plugins::com {
namespace {

// The registry's own bounds, in UTF-16 units.
constexpr std::size_t kLongestKeyName = 255;
constexpr std::size_t kLongestValueName = 16383;
constexpr std::size_t kLongestData = 32767;
// Deeper than any registration, and far from the stack's end.
constexpr std::size_t kDeepest = 32;

// Keys that hold more than one program's registration, wherever they lie.
constexpr std::string_view kSharedKeys[] = {
    "Addins",         "AppID",      "Classes",  "CLSID",     "Component Categories",
    "CurrentVersion", "FileType",   "Hardware", "Interface", "Microsoft",
    "Mime",           "Office",     "Outlook",  "Policies",  "SAM",
    "Security",       "Software",   "System",   "TypeLib",   "Windows",
    "Windows NT",     "Wow6432Node"};

template <class Char>
constexpr Char Folded(Char letter) noexcept {
    return letter >= 'A' && letter <= 'Z' ? static_cast<Char>(letter - 'A' + 'a') : letter;
}

template <class Char>
bool SameWord(std::basic_string_view<Char> one, std::string_view other) noexcept {
    return std::ranges::equal(one, other, [](Char left, char right) {
        return Folded(left) == static_cast<Char>(Folded(right));
    });
}

constexpr bool IsSpace(char letter) noexcept {
    return letter == ' ' || letter == '\t' || letter == '\r' || letter == '\n';
}

constexpr bool IsPrintable(char letter) noexcept { return letter >= ' ' && letter <= '~'; }

// A word as it is written. The end of the script is an empty bare one.
struct Token {
    std::size_t begin = 0;
    std::string_view written;  // without its outer apostrophes
    bool quoted = false;

    bool AtEnd() const noexcept { return written.empty() && !quoted; }
    bool Is(std::string_view word) const noexcept { return !quoted && SameWord(written, word); }
};

struct SyntaxError {
    std::size_t at;
    std::string expected;
};

class ScriptParser {
public:
    ScriptParser(std::string_view text, std::span<const Replacement> replacements)
        : text_(text), replacements_(replacements) {}

    std::vector<RootContent> Parse() {
        std::vector<RootContent> roots;
        for (Advance(); !token_.AtEnd();) {
            RootContent& root = roots.emplace_back(RootContent{TakeRoot(), {}});
            root.content.kind = KeyKind::kNoRemove;
            Skip("{");
            TakeContent(root.content, 1);
        }
        return roots;
    }

private:
    [[noreturn]] static void Fail(std::size_t at, std::string expected) {
        throw SyntaxError{at, std::move(expected)};
    }

    // Reads the next word.
    void Advance() {
        while (next_ < text_.size() && IsSpace(text_[next_])) ++next_;
        const std::size_t begin = next_;
        if (next_ == text_.size()) {
            token_ = {begin, {}, false};
        } else if (text_[begin] == '\'') {
            token_ = {begin, Quoted(), true};
        } else {
            token_ = {begin, Bare(), false};
        }
    }

    std::string_view Quoted() {
        for (const std::size_t begin = ++next_; next_ < text_.size(); ++next_) {
            if (text_[next_] == '\'') {
                ++next_;
                if (next_ == text_.size() || text_[next_] != '\'')
                    return text_.substr(begin, next_ - 1 - begin);
            } else if (!IsPrintable(text_[next_])) {
                break;
            }
        }
        Fail(next_, "an apostrophe at the end of the text, which is one line of ASCII");
    }

    std::string_view Bare() {
        const std::size_t begin = next_;
        for (; next_ < text_.size() && !IsSpace(text_[next_]); ++next_) {
            if (!IsPrintable(text_[next_])) Fail(next_, "an ASCII character");
            if (text_[next_] == '\'') Fail(next_, "white space before the apostrophe");
        }
        return text_.substr(begin, next_ - begin);
    }

    bool Skipped(std::string_view word) {
        if (!token_.Is(word)) return false;
        Advance();
        return true;
    }

    void Skip(std::string_view word) {
        if (!Skipped(word)) Fail(token_.begin, "'" + std::string(word) + "'");
    }

    ScriptRoot TakeRoot() {
        if (Skipped("HKCR") || Skipped("HKEY_CLASSES_ROOT")) return ScriptRoot::kClassesRoot;
        if (Skipped("HKLM") || Skipped("HKEY_LOCAL_MACHINE")) return ScriptRoot::kLocalMachine;
        if (Skipped("HKCU") || Skipped("HKEY_CURRENT_USER")) return ScriptRoot::kCurrentUser;
        Fail(token_.begin, "HKCR, HKLM or HKCU");
    }

    // Takes what follows the "{" of a key, the "}" included.
    void TakeContent(ScriptKey& key, std::size_t depth) {
        while (!Skipped("}")) {
            if (token_.AtEnd()) Fail(token_.begin, "'}'");
            if (Skipped("val")) {
                std::u16string name = TakeText("a value's name", kLongestValueName);
                if (!token_.Is("=")) Fail(token_.begin, "'='");
                key.values.push_back({std::move(name), TakeData()});
            } else {
                key.keys.push_back(TakeKey(depth));
            }
        }
    }

    ScriptKey TakeKey(std::size_t depth) {
        ScriptKey key;
        key.kind = TakeKind();
        const std::size_t begin = token_.begin;
        if (depth > kDeepest) Fail(begin, "at most 32 keys within each other");
        key.name = TakeText("a key's name", kLongestKeyName);
        if (key.name.empty() || key.name.find(u'\\') != std::u16string::npos)
            Fail(begin, "a key's name without a backslash, one key within the other");
        const bool whole = key.kind == KeyKind::kForceRemove || key.kind == KeyKind::kDelete;
        if (whole && IsShared(key.name)) Fail(begin, "a key that is not shared with others");

        if (key.kind == KeyKind::kDelete) return key;
        if (token_.Is("=")) key.values.push_back({{}, TakeData()});
        if (Skipped("{")) TakeContent(key, depth + 1);
        return key;
    }

    KeyKind TakeKind() {
        if (Skipped("NoRemove")) return KeyKind::kNoRemove;
        if (Skipped("ForceRemove")) return KeyKind::kForceRemove;
        if (Skipped("Delete")) return KeyKind::kDelete;
        return KeyKind::kPlain;
    }

    static bool IsShared(std::u16string_view name) noexcept {
        return std::ranges::any_of(kSharedKeys,
                                   [name](std::string_view key) { return SameWord(name, key); });
    }

    // Takes the type and the data that follow the current "=".
    ScriptData TakeData() {
        Advance();
        if (Skipped("s")) return TakeText("a text", kLongestData);
        if (Skipped("d")) return TakeNumber();
        if (Skipped("b")) return TakeBytes();
        Fail(token_.begin, "'s', 'd' or 'b'");
    }

    std::uint32_t TakeNumber() {
        constexpr const char* kExpected =
            "a number of 32 bits: decimal, or &H or 0x and hexadecimal";
        const std::size_t begin = token_.begin;
        const std::string digits = TakeAscii(kExpected);
        const bool hexadecimal = SameWord(std::string_view(digits).substr(0, 2), "0x") ||
                                 SameWord(std::string_view(digits).substr(0, 2), "&H");
        const char* const end = digits.data() + digits.size();
        std::uint32_t number = 0;
        const auto parsed = std::from_chars(digits.data() + (hexadecimal ? 2 : 0), end, number,
                                            hexadecimal ? 16 : 10);
        if (parsed.ec != std::errc() || parsed.ptr != end) Fail(begin, kExpected);
        return number;
    }

    std::vector<std::uint8_t> TakeBytes() {
        constexpr const char* kExpected = "bytes of two hexadecimal digits each";
        const std::size_t begin = token_.begin;
        const std::string digits = TakeAscii(kExpected);
        std::vector<std::uint8_t> bytes(digits.size() / 2);
        const char* digit = digits.data();
        for (std::uint8_t& byte : bytes) {
            const auto parsed = std::from_chars(digit, digit + 2, byte, 16);
            if (parsed.ptr != digit + 2) Fail(begin, kExpected);
            digit += 2;
        }
        if (digits.size() % 2 != 0) Fail(begin, kExpected);
        return bytes;
    }

    // Takes a word that is plain ASCII after replacement; any other becomes one that is no number.
    std::string TakeAscii(std::string_view expected) {
        std::string text;
        for (const char16_t unit : TakeText(expected, kLongestData))
            text.push_back(unit < 0x80 ? static_cast<char>(unit) : '?');
        return text;
    }

    // Takes a word that is no keyword, with what it stands for in place of replacements.
    std::u16string TakeText(std::string_view expected, std::size_t longest) {
        for (const char* mark : {"", "{", "}", "=", "val", "NoRemove", "ForceRemove", "Delete"})
            if (token_.Is(mark)) Fail(token_.begin, std::string(expected));

        const std::size_t begin = token_.begin + (token_.quoted ? 1 : 0);
        const std::string_view written = token_.written;
        std::u16string text;
        for (std::size_t i = 0; i < written.size(); ++i) {
            if (written[i] == '%') {
                const std::size_t close = written.find('%', i + 1);
                if (close == std::string_view::npos) Fail(begin + i, "a second '%'");
                const std::string_view name = written.substr(i + 1, close - i - 1);
                text += name.empty() ? u"%" : Replaced(name, begin + i);
                i = close;
            } else {
                text.push_back(static_cast<char16_t>(written[i]));
                if (written[i] == '\'') ++i;  // the second of two
            }
            if (text.size() > longest)
                Fail(token_.begin, std::string(expected) + " of at most " +
                                       std::to_string(longest) + " characters");
        }
        if (text.find(u'\0') != std::u16string::npos)
            Fail(token_.begin, "text without a zero character");
        Advance();
        return text;
    }

    std::u16string_view Replaced(std::string_view name, std::size_t at) const {
        for (const Replacement& replacement : replacements_)
            if (SameWord(name, replacement.name)) return replacement.value;
        Fail(at, "the name of a replacement between percent signs");
    }

    std::string_view text_;
    std::span<const Replacement> replacements_;
    std::size_t next_ = 0;
    Token token_;
};

}  // namespace

std::string ScriptError::ToText() const {
    return std::to_string(line) + ':' + std::to_string(column) + ": expected " + expected;
}

ParsedScript ParseRegistrationScript(std::string_view text,
                                     std::span<const Replacement> replacements) {
    try {
        return ScriptParser(text, replacements).Parse();
    } catch (SyntaxError& error) {
        const std::string_view before = text.substr(0, error.at);
        const auto lines = std::ranges::count(before, '\n');
        return ScriptError{static_cast<std::size_t>(lines) + 1,
                           error.at - (before.rfind('\n') + 1) + 1,  // npos + 1 is 0
                           std::move(error.expected)};
    }
}

}  // namespace plugins::com
