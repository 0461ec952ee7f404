#include "product/pattern_search.h"

#include "product/text_match.h"

namespace reference_product {

PatternSet::PatternSet(std::span<const std::string> patterns, Letters letters)
    : same_(patterns.size(), kNone) {
    for (std::size_t byte = 0; byte < fold_.size(); ++byte) {
        const char letter = static_cast<char>(byte);
        fold_[byte] =
            static_cast<std::uint8_t>(letters == Letters::kFolded ? FoldAscii(letter) : letter);
    }
    for (std::uint32_t index = 0; index < patterns.size(); ++index) Add(index, patterns[index]);
    Link();
}

void PatternSet::Add(std::uint32_t index, const std::string& pattern) {
    if (pattern.empty()) return;
    std::uint32_t node = kRoot;
    for (const char letter : pattern) {
        const std::uint8_t byte = fold_[static_cast<std::uint8_t>(letter)];
        std::uint32_t next = Child(node, byte);
        if (next == kRoot) {
            next = static_cast<std::uint32_t>(nodes_.size());
            nodes_.push_back({.next_sibling = nodes_[node].first_child, .byte = byte});
            nodes_[node].first_child = next;
        }
        node = next;
    }
    same_[index] = nodes_[node].pattern;
    nodes_[node].pattern = index;
}

void PatternSet::Link() {
    std::vector<std::uint32_t> by_depth{kRoot};
    by_depth.reserve(nodes_.size());
    for (std::size_t i = 0; i < by_depth.size(); ++i) {
        const std::uint32_t parent = by_depth[i];
        for (std::uint32_t node = nodes_[parent].first_child; node != kRoot;
             node = nodes_[node].next_sibling) {
            by_depth.push_back(node);
            if (parent == kRoot) continue;
            const std::uint32_t suffix = Step(nodes_[parent].failure, nodes_[node].byte);
            nodes_[node].failure = suffix;
            nodes_[node].output = nodes_[suffix].pattern != kNone ? suffix : nodes_[suffix].output;
        }
        if (parent != kRoot) continue;
        for (std::size_t byte = 0; byte < from_root_.size(); ++byte) {
            from_root_[byte] = Child(kRoot, fold_[byte]);
        }
    }
}

std::uint32_t PatternSet::Child(std::uint32_t node, std::uint8_t byte) const noexcept {
    std::uint32_t child = nodes_[node].first_child;
    while (child != kRoot && nodes_[child].byte != byte) child = nodes_[child].next_sibling;
    return child;
}

std::uint32_t PatternSet::Step(std::uint32_t node, std::uint8_t byte) const noexcept {
    for (; node != kRoot; node = nodes_[node].failure) {
        if (const std::uint32_t child = Child(node, byte); child != kRoot) return child;
    }
    return from_root_[byte];
}

PatternScan::PatternScan(const PatternSet& patterns)
    : patterns_(patterns), found_(patterns.size()), marked_(patterns.nodes_.size()) {}

void PatternScan::Feed(std::span<const std::byte> piece) {
    if (patterns_.nodes_.size() == 1) return;
    for (const std::byte raw : piece) {
        const auto byte = static_cast<std::uint8_t>(raw);
        state_ = state_ == PatternSet::kRoot ? patterns_.from_root_[byte]
                                             : patterns_.Step(state_, patterns_.fold_[byte]);
        if (state_ != PatternSet::kRoot) Mark(state_);
    }
}

void PatternScan::Mark(std::uint32_t node) {
    // A marked node's suffixes are marked, too, so a whole scan walks each node once.
    for (; node != PatternSet::kRoot && !marked_[node]; node = patterns_.nodes_[node].output) {
        marked_[node] = true;
        for (std::uint32_t index = patterns_.nodes_[node].pattern; index != PatternSet::kNone;
             index = patterns_.same_[index]) {
            found_[index] = true;
        }
    }
}

}  // namespace reference_product
