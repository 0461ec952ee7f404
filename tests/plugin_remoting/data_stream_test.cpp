// A stream of the other process reads ahead, and nobody can tell but by the number of calls.

#include <algorithm>
#include <random>

#include "private_include/common/mail_message.h"
#include "tests/remoting/pair_fixture.h"

namespace tests {
namespace {

using plugins::mail_processing::IDataStream;
using plugins::mail_processing::SeekOrigin;

// A stream over bytes that others may share.
class MemoryStream final : public vek::ObjectImpl<IDataStream> {
public:
    explicit MemoryStream(std::shared_ptr<byte_vector> content) : content_(std::move(content)) {}

    result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override {
        const auto left = std::span(*content_).subspan(std::min(position_, content_->size()));
        read = static_cast<std::uint32_t>(std::min(left.size(), buffer.size()));
        std::copy_n(left.begin(), read, buffer.begin());
        position_ += read;
        return result::kOk;
    }
    result_t Write(std::span<const std::byte> data, std::uint32_t& written) noexcept override {
        content_->resize(std::max(position_ + data.size(), content_->size()));
        std::ranges::copy(data, content_->begin() + static_cast<std::ptrdiff_t>(position_));
        position_ += data.size();
        written = static_cast<std::uint32_t>(data.size());
        return result::kOk;
    }
    result_t Seek(std::int64_t offset, SeekOrigin origin,
                  std::uint64_t& position) noexcept override {
        const std::size_t bases[] = {0, position_, content_->size()};
        const auto target = static_cast<std::int64_t>(bases[static_cast<int>(origin)]) + offset;
        if (target < 0) return result::kInvalidArgument;
        position = position_ = static_cast<std::size_t>(target);
        return result::kOk;
    }
    result_t GetSize(std::uint64_t& size) noexcept override {
        size = content_->size();
        return result::kOk;
    }
    result_t SetSize(std::uint64_t size) noexcept override {
        content_->resize(static_cast<std::size_t>(size));
        return result::kOk;
    }
    result_t Commit() noexcept override { return result::kOk; }

private:
    std::shared_ptr<byte_vector> content_;
    std::size_t position_ = 0;
};

byte_vector Pattern(std::size_t size) {
    byte_vector content(size);
    for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<std::byte>(i * 31 + (i >> 8));
    return content;
}

// What a stream answers to the operation that `random` chooses: the same one for the same state.
std::tuple<result_t, std::uint64_t, byte_vector> Do(IDataStream& stream, std::mt19937 random) {
    const auto below = [&](std::size_t limit) { return random() % limit; };
    const auto kind = below(8);
    result_t code = result::kOk;
    std::uint32_t count = 0;
    std::uint64_t place = 0;
    byte_vector bytes;
    if (kind == 0) {
        code = stream.Write(Pattern(below(5000)), count);
    } else if (kind == 1) {
        const auto origin = static_cast<SeekOrigin>(below(3));
        code = stream.Seek(static_cast<std::int64_t>(below(200000)) - 60000, origin, place);
    } else if (kind == 2) {
        if (below(6) == 0) code = stream.SetSize(below(300000));
        stream.GetSize(place);
    } else {
        bytes.resize(below(4) == 0 ? below(100000) : below(3000));
        code = stream.Read(bytes, count);
    }
    return {code, place + count, std::move(bytes)};
}

TEST(DataStreamProxy, AnswersAsTheStreamItself) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        const auto distant = std::make_shared<byte_vector>(Pattern(250000));
        const auto own = std::make_shared<byte_vector>(*distant);
        // Two streams over one content: what one writes the other reads.
        Pair pair(nullptr);
        RefPtr<IDataStream> remote[2], local[2];
        for (int i = 0; i < 2; ++i) {
            pair.master->locator = vek::MakeObject<OneServiceLocator>(
                RefPtr<vek::IObject>(vek::MakeObject<MemoryStream>(distant)));
            remote[i] = pair.Service<IDataStream>();
            local[i] = vek::MakeObject<MemoryStream>(own);
        }
        std::mt19937 random(seed);
        for (int step = 0; step < 300; ++step) {
            const int which = random() % 3 == 0 ? 1 : 0;
            ASSERT_TRUE(Do(*remote[which], random) == Do(*local[which], random))
                << "seed " << seed << ", step " << step;
            random.discard(4);
        }
        ASSERT_EQ(*distant, *own);
    }
}

TEST(DataStreamProxy, CrossesTheBorderSeldom) {
    const std::size_t cases[][3] = {{10u << 20, 64u << 10, 20},
                                    {10u << 20, 1000, 20},
                                    {100, 64u << 10, 1},
                                    {10u << 20, 10u << 20, 11}};
    for (const auto& [size, piece_size, calls] : cases) {
        Pair pair(
            RefPtr<vek::IObject>(vek::MakeObject<MemoryStream>(std::make_shared<byte_vector>())));
        const auto stream = pair.Service<IDataStream>();
        const byte_vector content = Pattern(size);
        std::uint32_t count = 0;
        std::uint64_t position = 0;
        EXPECT_EQ(stream->Write(content, count), result::kOk);
        EXPECT_EQ(count, size);
        EXPECT_EQ(stream->Seek(0, SeekOrigin::kStart, position), result::kOk);

        const auto before = pair.client->requests_sent();
        byte_vector piece(piece_size), all;
        do {
            ASSERT_EQ(stream->Read(piece, count), result::kOk);
            all.insert(all.end(), piece.begin(), piece.begin() + count);
        } while (count == piece.size());
        EXPECT_TRUE(all == content);
        EXPECT_LE(pair.client->requests_sent() - before, calls) << piece_size;
    }
}

}  // namespace
}  // namespace tests
