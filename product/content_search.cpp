#include "product/content_search.h"

namespace reference_product {
namespace {

std::vector<std::string> Infections() { return {EicarTestString()}; }

}  // namespace

std::string EicarTestString() {
    std::string text = R"(X5O!P%@AP[4\PZX54(P^)7CC)7}$EICAR)";
    text += R"(-STANDARD-ANTIVIRUS-TEST-FILE!$H+H*)";
    return text;
}

void ContentHits::Add(const ContentHits& other) {
    infected = infected || other.infected;
    if (texts.size() < other.texts.size()) texts.resize(other.texts.size());
    for (std::size_t i = 0; i < other.texts.size(); ++i) {
        if (other.texts[i]) texts[i] = true;
    }
}

ContentSearch::ContentSearch(std::span<const std::string> texts)
    : infections_(Infections(), PatternSet::Letters::kExact),
      texts_(texts, PatternSet::Letters::kFolded) {}

ContentScan::ContentScan(const ContentSearch& search)
    : infections_(search.infections_), texts_(search.texts_) {}

void ContentScan::Feed(std::span<const std::byte> piece) {
    infections_.Feed(piece);
    texts_.Feed(piece);
}

ContentHits ContentScan::Hits() const {
    return {.infected = infections_.found().front(), .texts = texts_.found()};
}

}  // namespace reference_product
