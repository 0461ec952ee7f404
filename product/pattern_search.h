#pragma once

// Finds many texts in one pass over a content that arrives in pieces. The work is linear in the
// length of the content, whatever the texts, and nothing of the content is kept.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace reference_product {

// The patterns as an Aho-Corasick automaton. Immutable: any number of scans may use one set, from
// any threads.
class PatternSet {
public:
    enum class Letters { kExact, kFolded };  // kFolded ignores the case of ASCII letters

    // An empty pattern is never found.
    PatternSet(std::span<const std::string> patterns, Letters letters);

    std::size_t size() const noexcept { return same_.size(); }

private:
    friend class PatternScan;

    static constexpr std::uint32_t kRoot = 0;
    static constexpr std::uint32_t kNone = UINT32_MAX;

    // Children are a list, not a table, so that the memory is linear in the patterns. The root,
    // where a scan spends its time, has a table of its own.
    struct Node {
        std::uint32_t first_child = kRoot;  // kRoot ends the list: no node has it as a child
        std::uint32_t next_sibling = kRoot;
        std::uint32_t failure = kRoot;  // the longest proper suffix that is a node
        std::uint32_t output = kRoot;   // the nearest suffix that ends a pattern
        std::uint32_t pattern = kNone;  // the last pattern that ends here
        std::uint8_t byte = 0;
    };

    void Add(std::uint32_t index, const std::string& pattern);
    void Link();
    std::uint32_t Child(std::uint32_t node, std::uint8_t byte) const noexcept;
    std::uint32_t Step(std::uint32_t node, std::uint8_t byte) const noexcept;

    std::array<std::uint8_t, 256> fold_{};
    std::array<std::uint32_t, 256> from_root_{};
    std::vector<Node> nodes_{1};
    std::vector<std::uint32_t> same_;  // by pattern: another pattern with the same text
};

// Searches one content, which arrives in pieces. The PatternSet must outlive it.
class PatternScan {
public:
    explicit PatternScan(const PatternSet& patterns);

    // Takes the next piece of the content, of any size.
    void Feed(std::span<const std::byte> piece);

    // Tells by the index of the pattern whether it was found so far.
    const std::vector<bool>& found() const noexcept { return found_; }

private:
    void Mark(std::uint32_t node);

    const PatternSet& patterns_;
    std::uint32_t state_ = PatternSet::kRoot;
    std::vector<bool> found_;
    std::vector<bool> marked_;  // by node
};

}  // namespace reference_product
