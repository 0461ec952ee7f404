#pragma once

// What every content of a message (a body, an attachment) is searched for.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "product/pattern_search.h"

namespace reference_product {

// The standard EICAR test string, which every scanner reports as if it were a virus. It is put
// together when asked for, so that neither a source file nor a binary of this tree holds it.
std::string EicarTestString();

struct ContentHits {
    bool infected = false;
    std::vector<bool> texts;  // by the index of the text

    void Add(const ContentHits& other);
};

// The test string and the texts of the rules. Immutable; scans on any threads may share one.
class ContentSearch {
public:
    explicit ContentSearch(std::span<const std::string> texts);

private:
    friend class ContentScan;

    PatternSet infections_;
    PatternSet texts_;
};

// One content's way through a ContentSearch, which must outlive it.
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
