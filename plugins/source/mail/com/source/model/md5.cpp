#include "model/md5.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <utility>

namespace plugins::mail_processing {
namespace {

constexpr std::size_t kBlock = 64;

using State = std::array<std::uint32_t, 4>;
using Block = std::span<const std::byte, kBlock>;

constexpr State kInitial = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};

// The sine table of the algorithm: floor(2^32 * |sin(i + 1)|).
std::array<std::uint32_t, 64> Sines() noexcept {
    std::array<std::uint32_t, 64> sines{};
    for (std::size_t i = 0; i < sines.size(); ++i) {
        sines[i] = static_cast<std::uint32_t>(
            std::floor(4294967296.0 * std::fabs(std::sin(static_cast<double>(i + 1)))));
    }
    return sines;
}
const std::array<std::uint32_t, 64> sines = Sines();

constexpr std::array<std::array<int, 4>, 4> kRotations = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

void Mix(State& state, Block block) noexcept {
    std::array<std::uint32_t, 16> words{};
    for (std::size_t i = 0; i < words.size(); ++i) {
        words[i] = LoadLittleEndian<std::uint32_t>(block.subspan(4 * i).first<4>());
    }
    auto [a, b, c, d] = state;
    for (std::size_t i = 0; i < 64; ++i) {
        const std::size_t round = i / 16;
        std::uint32_t f = 0;
        std::size_t word = 0;
        switch (round) {
            case 0:
                f = (b & c) | (~b & d);
                word = i;
                break;
            case 1:
                f = (d & b) | (~d & c);
                word = (5 * i + 1) % 16;
                break;
            case 2:
                f = b ^ c ^ d;
                word = (3 * i + 5) % 16;
                break;
            default:
                f = c ^ (b | ~d);
                word = (7 * i) % 16;
        }
        const std::uint32_t rotated =
            std::rotl(a + f + sines[i] + words[word], kRotations[round][i % 4]);
        a = d;
        d = c;
        c = b;
        b += rotated;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
}

}  // namespace

std::array<std::byte, 16> Md5(std::span<const std::byte> bytes) noexcept {
    State state = kInitial;
    const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
    for (; bytes.size() >= kBlock; bytes = bytes.subspan(kBlock)) {
        Mix(state, bytes.first<kBlock>());
    }

    // The rest, a one bit, zeros, and the length in bits: one block or two.
    std::array<std::byte, 2 * kBlock> tail{};
    std::copy(bytes.begin(), bytes.end(), tail.begin());
    tail[bytes.size()] = std::byte{0x80};
    const std::size_t length = bytes.size() + 1 + 8 <= kBlock ? kBlock : 2 * kBlock;
    StoreLittleEndian(bits, std::span(tail).subspan(length - 8).first<8>());
    for (std::size_t at = 0; at < length; at += kBlock) {
        Mix(state, std::span(std::as_const(tail)).subspan(at).first<kBlock>());
    }

    std::array<std::byte, 16> digest{};
    for (std::size_t i = 0; i < state.size(); ++i) {
        StoreLittleEndian(state[i], std::span(digest).subspan(4 * i).first<4>());
    }
    return digest;
}

}  // namespace plugins::mail_processing
