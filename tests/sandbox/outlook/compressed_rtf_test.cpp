#include "sandbox/outlook/compressed_rtf.h"

#include <gtest/gtest.h>

#include <random>

namespace sandbox::outlook {
namespace {

template <std::size_t kSize>
std::vector<std::byte> Bytes(const unsigned char (&values)[kSize]) {
    const auto bytes = std::as_bytes(std::span(values));
    return {bytes.begin(), bytes.end()};
}

// The examples of the published algorithm.
const std::vector<std::byte> kHello =
    Bytes({0x2D, 0,    0,    0,    0x2B, 0,    0,    0,    'L',  'Z',  'F',  'u', 0xF1,
           0xC5, 0xC7, 0xA7, 0x03, 0x00, 0x0A, 0x00, 'r',  'c',  'p',  'g',  '1', '2',
           '5',  'B',  '2',  0x0A, 0xF3, ' ',  'h',  'e',  'l',  0x09, 0x00, ' ', 'b',
           'w',  0x05, 0xB0, 'l',  'd',  '}',  0x0A, 0x80, 0x0F, 0xA0});
const std::vector<std::byte> kCrossing =
    Bytes({0x1A, 0,   0, 0,    0x1C, 0,   0,   0,   'L', 'Z',  'F', 'u', 0xE2, 0xD4, 0x4B,
           0x51, 'A', 0, 0x04, ' ',  'W', 'X', 'Y', 'Z', 0x0D, 'n', '}', 0x01, 0x0E, 0xB0});
const std::vector<std::byte> kStored =
    Bytes({0x10, 0, 0, 0, 0x04, 0, 0, 0, 'M', 'E', 'L', 'A', 0, 0, 0, 0, '{', 'a', 'b', '}'});

TEST(CompressedRtf, GivesThePublishedTexts) {
    EXPECT_EQ(UncompressRtf(kHello), "{\\rtf1\\ansi\\ansicpg1252\\pard hello world}\r\n");
    EXPECT_EQ(UncompressRtf(kCrossing), "{\\rtf1 WXYZWXYZWXYZWXYZWXYZ}");
    EXPECT_EQ(UncompressRtf(kStored), "{ab}");
}

TEST(CompressedRtf, RefusesWhatIsDamaged) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{15}, kHello.size() - 1}) {
        EXPECT_THROW(UncompressRtf(std::span(kHello).first(size)), BadCompressedRtf) << size;
    }
    // A byte of the size, the kind, the checksum, the contents.
    for (const std::size_t at : {0u, 8u, 12u, 20u, 48u}) {
        auto damaged = kHello;
        damaged[at] ^= std::byte{1};
        EXPECT_THROW(UncompressRtf(damaged), BadCompressedRtf) << at;
    }
}

TEST(CompressedRtf, WhatIsCompressedComesBack) {
    std::mt19937 random(7);
    std::string noise(10'000, '\0');
    for (char& c : noise) c = static_cast<char>(random());
    std::string words;
    while (words.size() < 20'000) words += "\\par word" + std::to_string(random() % 50);
    const struct {
        const char* what;
        std::string text;
        double largest;  // of the text's size, the header aside
    } cases[] = {
        {"nothing", "", 0},
        {"one character", "x", 3},
        {"one that the window begins with", "{\\rtf1\\ansi", 0.5},
        {"a run", std::string(5000, ' '), 0.15},
        {"words, more than a window", words, 0.4},
        {"noise", noise, 1.14},
        {"a window apart", noise.substr(0, 4095) + noise.substr(0, 4095), 1.14},
        {"more than a window apart", noise.substr(0, 4097) + noise.substr(0, 4097), 1.14},
    };
    for (const auto& each : cases) {
        const auto compressed = CompressRtf(each.text);
        EXPECT_EQ(UncompressRtf(compressed), each.text) << each.what;
        EXPECT_LE(static_cast<double>(compressed.size()),
                  16 + 3 + each.largest * static_cast<double>(each.text.size()))
            << each.what;
    }
}

}  // namespace
}  // namespace sandbox::outlook
