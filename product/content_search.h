#pragma once

// The search of a message's contents, its bodies and attachments, for the texts that rules name
// and for the EICAR test string.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "product/pattern_search.h"

namespace reference_product {

// What the test string is called where it was found.
inline constexpr std::string_view kEicarFind = "EICAR test string";

// Gives the standard EICAR test string, which every scanner reports as if it were a virus. It is
// put together by the call, so that neither a source file nor a binary of this tree holds it.
std::string EicarTestString();

// The texts that a content holds.
struct ContentHits {
    bool infected = false;
    std::vector<bool> texts;  // by the index of the rules' text

    // Takes in the hits of another content.
    void Add(const ContentHits& other);
};

// The test string and the texts of the rules, ready to be searched for. Immutable; scans on any
// threads may share one.
class ContentSearch {
public:
    explicit ContentSearch(std::span<const std::string> texts);

private:
    friend class ContentScan;

    PatternSet infections_;
    PatternSet texts_;
};

// Searches one content, which arrives in pieces. The ContentSearch must outlive it.
class ContentScan {
public:
    explicit ContentScan(const ContentSearch& search);

    void Feed(std::span<const std::byte> piece);
    ContentHits Hits() const;

private:
    PatternScan infections_;
    PatternScan texts_;
};

}  // namespace reference_product
