#include "sandbox/outlook/compressed_rtf.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace sandbox::outlook {
namespace {

// The header: the size of what follows its first field, the size of the text, the kind, the
// checksum of the contents; each of 32 bits, lowest byte first.
constexpr std::size_t kHeaderSize = 16;
constexpr std::uint32_t kCompressed = 0x75465A4C;
constexpr std::uint32_t kStored = 0x414C454D;

// The content of the window at the start of every compressed text.
constexpr std::string_view kPreset =
    "{\\rtf1\\ansi\\mac\\deff0\\deftab720{\\fonttbl;}{\\f0\\fnil \\froman \\fswiss \\fmodern "
    "\\fscript \\fdecor MS Sans SerifSymbolArialTimes New RomanCourier{\\colortbl\\red0\\green0"
    "\\blue0\r\n\\par \\pard\\plain\\f0\\fs20\\b\\i\\u\\tab\\tx";
static_assert(kPreset.size() == 207);

constexpr std::size_t kWindow = 4096;
constexpr std::size_t kShortest = 2;
constexpr std::size_t kLongest = 17;

constexpr auto kCrcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? 0xEDB88320u ^ (value >> 1) : value >> 1;
        }
        table[i] = value;
    }
    return table;
}();

// The usual polynomial, without the usual inversions at both ends.
std::uint32_t Checksum(std::span<const std::byte> bytes) noexcept {
    std::uint32_t crc = 0;
    for (std::byte b : bytes) {
        crc = kCrcTable[(crc ^ static_cast<std::uint32_t>(b)) & 0xFF] ^ (crc >> 8);
    }
    return crc;
}

std::uint32_t Load(std::span<const std::byte> bytes, std::size_t at) noexcept {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = value << 8 | static_cast<std::uint32_t>(bytes[at + i]);
    }
    return value;
}

void Append(std::vector<std::byte>& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::byte>(value >> (8 * i) & 0xFF));
}

// Takes the tokens of a compressed text one after the other.
class Tokens {
public:
    explicit Tokens(std::span<const std::byte> bytes) noexcept : bytes_(bytes) {}

    bool NextIsReference() {
        if (bit_ == 8) {
            control_ = Byte();
            bit_ = 0;
        }
        return (control_ >> bit_++ & 1) != 0;
    }

    unsigned Byte() {
        if (at_ == bytes_.size()) throw BadCompressedRtf("compressed RTF ends within a text");
        return static_cast<unsigned>(bytes_[at_++]);
    }

private:
    std::span<const std::byte> bytes_;
    std::size_t at_ = 0;
    unsigned control_ = 0;
    int bit_ = 8;
};

std::string Uncompress(std::span<const std::byte> contents) {
    // Window positions are positions in the preset and the text, modulo the window's size.
    std::string text(kPreset);
    Tokens tokens(contents);
    for (;;) {
        if (!tokens.NextIsReference()) {
            text.push_back(static_cast<char>(tokens.Byte()));
            continue;
        }
        const unsigned high = tokens.Byte();
        const unsigned reference = high << 8 | tokens.Byte();
        const std::size_t position = reference >> 4;
        const std::size_t length = (reference & 0xF) + kShortest;
        const std::size_t back = (text.size() - position) % kWindow;
        if (back == 0) break;
        for (std::size_t i = 0; i < length; ++i) {
            // A window not yet full reads as zeros.
            text.push_back(back > text.size() ? '\0' : text[text.size() - back]);
        }
    }
    text.erase(0, kPreset.size());
    return text;
}

// Finds earlier occurrences of what comes next, by the first two characters.
class Matcher {
public:
    explicit Matcher(std::string_view text) : text_(text), previous_(text.size(), kNone) {
        heads_.fill(kNone);
    }

    struct Match {
        std::size_t position;
        std::size_t length;
    };

    std::optional<Match> Find(std::size_t at) const noexcept {
        if (at + kShortest > text_.size()) return std::nullopt;
        Match best{0, kShortest - 1};
        const std::size_t longest = std::min(kLongest, text_.size() - at);
        int tries = kTries;
        for (std::uint32_t found = heads_[Key(at)];
             found != kNone && at - found < kWindow && tries-- > 0; found = previous_[found]) {
            // Without overlap, so that every reader finds the same bytes.
            const std::size_t limit = std::min(longest, at - found);
            std::size_t length = 0;
            while (length < limit && text_[found + length] == text_[at + length]) ++length;
            if (length > best.length) best = {found, length};
            if (best.length == longest) break;
        }
        if (best.length < kShortest) return std::nullopt;
        return best;
    }

    void Remember(std::size_t at) noexcept {
        if (at + kShortest > text_.size()) return;
        std::uint32_t& head = heads_[Key(at)];
        previous_[at] = head;
        head = static_cast<std::uint32_t>(at);
    }

private:
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;
    static constexpr int kTries = 32;

    std::size_t Key(std::size_t at) const noexcept {
        return static_cast<std::size_t>(static_cast<unsigned char>(text_[at])) << 8 |
               static_cast<unsigned char>(text_[at + 1]);
    }

    std::string_view text_;
    std::vector<std::uint32_t> previous_;
    std::array<std::uint32_t, 65536> heads_;
};

// Writes tokens in groups of eight behind their control byte.
class TokenWriter {
public:
    explicit TokenWriter(std::vector<std::byte>& out) noexcept : out_(out) {}

    void Literal(char c) {
        Begin(false);
        out_.push_back(static_cast<std::byte>(c));
    }
    void Reference(std::size_t position, std::size_t length) {
        Begin(true);
        const std::size_t value = position % kWindow << 4 | (length - kShortest);
        out_.push_back(static_cast<std::byte>(value >> 8));
        out_.push_back(static_cast<std::byte>(value & 0xFF));
    }

private:
    void Begin(bool reference) {
        if (bit_ == 8) {
            control_ = out_.size();
            out_.push_back(std::byte{0});
            bit_ = 0;
        }
        if (reference) out_[control_] |= static_cast<std::byte>(1u << bit_);
        ++bit_;
    }

    std::vector<std::byte>& out_;
    std::size_t control_ = 0;
    int bit_ = 8;
};

}  // namespace

std::string UncompressRtf(std::span<const std::byte> compressed) {
    if (compressed.size() < kHeaderSize) throw BadCompressedRtf("compressed RTF without a header");
    const std::size_t size = Load(compressed, 0);
    const std::size_t text_size = Load(compressed, 4);
    const std::uint32_t kind = Load(compressed, 8);
    const std::uint32_t checksum = Load(compressed, 12);
    if (size < kHeaderSize - 4 || size - (kHeaderSize - 4) > compressed.size() - kHeaderSize) {
        throw BadCompressedRtf("compressed RTF is shorter than its header says");
    }
    const auto contents = compressed.subspan(kHeaderSize, size - (kHeaderSize - 4));
    if (kind == kStored) {
        const auto text = contents.first(std::min(text_size, contents.size()));
        return std::string(reinterpret_cast<const char*>(text.data()), text.size());
    }
    if (kind != kCompressed) throw BadCompressedRtf("compressed RTF of an unknown kind");
    if (Checksum(contents) != checksum) throw BadCompressedRtf("compressed RTF is damaged");
    std::string text = Uncompress(contents);
    text.resize(std::min(text.size(), text_size));
    return text;
}

std::vector<std::byte> CompressRtf(std::string_view rtf) {
    std::string text(kPreset);
    text += rtf;
    std::vector<std::byte> contents;
    contents.reserve(rtf.size() + rtf.size() / 8 + 3);
    TokenWriter writer(contents);
    const auto matcher = std::make_unique<Matcher>(text);
    for (std::size_t i = 0; i < kPreset.size(); ++i) matcher->Remember(i);
    for (std::size_t at = kPreset.size(); at < text.size();) {
        const auto match = matcher->Find(at);
        const std::size_t length = match ? match->length : 1;
        if (match) {
            writer.Reference(match->position, match->length);
        } else {
            writer.Literal(text[at]);
        }
        for (std::size_t i = 0; i < length; ++i) matcher->Remember(at++);
    }
    // A reference to the place where writing goes on ends the text.
    writer.Reference(text.size(), kShortest);

    std::vector<std::byte> result;
    result.reserve(kHeaderSize + contents.size());
    Append(result, static_cast<std::uint32_t>(contents.size() + kHeaderSize - 4));
    Append(result, static_cast<std::uint32_t>(rtf.size()));
    Append(result, kCompressed);
    Append(result, Checksum(contents));
    result.insert(result.end(), contents.begin(), contents.end());
    return result;
}

}  // namespace sandbox::outlook
