// The border between processes is invisible to a stream's reader: random calls are made through the
// border and to the stream itself, side by side. MLXO_STEPS sets how many.

#include <algorithm>
#include <cstdlib>
#include <random>
#include <thread>

#include "common/remoting/data_stream_proxy.h"
#include "private_include/common/mail_message.h"
#include "tests/remoting/pair_fixture.h"

namespace tests {
namespace {

using plugins::mail_processing::IDataStream;
using plugins::mail_processing::SeekOrigin;

// What is wrong with a stream, as bits.
enum Nature : unsigned { kDoesNotSeek = 1, kFailsNowAndThen = 2, kEndsEarly = 4, kReadOnly = 8 };

// A stream over bytes that others may share. Calls are taken one by one, as an owner thread does.
class MemoryStream final : public vek::ObjectImpl<IDataStream> {
public:
    explicit MemoryStream(std::shared_ptr<byte_vector> content, unsigned nature = 0)
        : content_(std::move(content)), nature_(nature) {}

    result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override {
        const std::lock_guard guard(lock_);
        if (Fails()) return result::kNotReady;
        const auto left = std::span(*content_).subspan(std::min(position_, content_->size()));
        const std::size_t most = (nature_ & kEndsEarly) != 0 ? 700 : left.size();
        read = static_cast<std::uint32_t>(std::min({left.size(), buffer.size(), most}));
        std::copy_n(left.begin(), read, buffer.begin());
        position_ += read;
        return result::kOk;
    }
    result_t Write(std::span<const std::byte> data, std::uint32_t& written) noexcept override {
        const std::lock_guard guard(lock_);
        if ((nature_ & kReadOnly) != 0) return result::kAccessDenied;
        if (Fails()) return result::kNotReady;
        content_->resize(std::max(position_ + data.size(), content_->size()));
        std::ranges::copy(data, content_->begin() + static_cast<std::ptrdiff_t>(position_));
        position_ += data.size();
        written = static_cast<std::uint32_t>(data.size());
        return result::kOk;
    }
    result_t Seek(std::int64_t offset, SeekOrigin origin,
                  std::uint64_t& position) noexcept override {
        const std::lock_guard guard(lock_);
        if ((nature_ & kDoesNotSeek) != 0) {
            position = 0;
            return result::kOk;
        }
        if (Fails()) return result::kNotReady;
        const std::size_t bases[] = {0, position_, content_->size()};
        const auto target = static_cast<std::int64_t>(bases[static_cast<int>(origin)]) + offset;
        if (target < 0) return result::kInvalidArgument;
        position = position_ = static_cast<std::size_t>(target);
        return result::kOk;
    }
    result_t GetSize(std::uint64_t& size) noexcept override {
        const std::lock_guard guard(lock_);
        size = content_->size();
        return result::kOk;
    }
    result_t SetSize(std::uint64_t size) noexcept override {
        const std::lock_guard guard(lock_);
        if (Fails()) return result::kNotReady;
        content_->resize(static_cast<std::size_t>(size));
        return result::kOk;
    }
    result_t Commit() noexcept override {
        const std::lock_guard guard(lock_);
        return Fails() ? result::kNotReady : result::kOk;
    }

private:
    bool Fails() noexcept { return (nature_ & kFailsNowAndThen) != 0 && ++calls_ % 5 == 0; }

    std::shared_ptr<byte_vector> content_;
    const unsigned nature_;
    std::mutex lock_;
    unsigned calls_ = 0;
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
    const auto kind = below(12);
    result_t code = result::kOk;
    std::uint32_t count = 77;  // stays when a call fails
    std::uint64_t place = 0;
    byte_vector bytes;
    if (kind == 0) {
        code = stream.Write(Pattern(below(50) == 0 ? 0 : below(500)), count);
    } else if (kind == 1) {
        code = stream.Seek(0, below(2) == 0 ? SeekOrigin::kCurrent : SeekOrigin::kStart, place);
    } else if (kind == 2) {
        const auto origin = static_cast<SeekOrigin>(below(3));
        code = stream.Seek(static_cast<std::int64_t>(below(20000)) - 6000, origin, place);
    } else if (kind == 3) {
        if (below(4) == 0) code = stream.SetSize(below(30000));
        stream.GetSize(place);
    } else if (kind == 4) {
        code = stream.Commit();
    } else {
        bytes.resize(below(40) == 0 ? below(30000) : below(900));
        code = stream.Read(bytes, count);
    }
    return {code, place + count, std::move(bytes)};
}

TEST(DataStreamProxy, AnswersAsTheStreamItself) {
    const char* const wanted = std::getenv("MLXO_STEPS");
    const long steps = wanted != nullptr ? std::strtol(wanted, nullptr, 10) : 16000;
    for (unsigned nature = 0; nature < 16; ++nature) {
        const auto distant = std::make_shared<byte_vector>(Pattern(25000));
        const auto own = std::make_shared<byte_vector>(*distant);
        // Two streams over one content: what one writes the other reads.
        Pair pair(nullptr);
        RefPtr<IDataStream> remote[2], local[2];
        for (unsigned i = 0; i < 2; ++i) {
            pair.master->locator = vek::MakeObject<OneServiceLocator>(
                RefPtr<vek::IObject>(vek::MakeObject<MemoryStream>(distant, nature * i)));
            remote[i] = pair.Service<IDataStream>();
            local[i] = vek::MakeObject<MemoryStream>(own, nature * i);
        }
        std::mt19937 random(nature);
        for (long step = 0; step < steps / 16; ++step) {
            const int which = random() % 3 == 0 ? 0 : 1;
            ASSERT_TRUE(Do(*remote[which], random) == Do(*local[which], random))
                << "nature " << nature << ", step " << step;
            random.discard(4);
        }
        ASSERT_EQ(*distant, *own);
    }
}

TEST(DataStreamProxy, MakesOneRequestOfACallThatOneCanCarry) {
    using Proxy = plugins::remoting::DataStreamProxy;
    Pair pair(RefPtr<vek::IObject>(vek::MakeObject<MemoryStream>(std::make_shared<byte_vector>())));
    const auto stream = pair.Service<IDataStream>();
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, Proxy::kMaxRead,
                                   Proxy::kMaxRead + 1, Proxy::kMaxWritten + 1}) {
        const byte_vector content = Pattern(size);
        byte_vector read(size);
        std::uint32_t count = 0;
        std::uint64_t position;
        auto made = [&, before = pair.client->requests_sent()]() mutable {
            return pair.client->requests_sent() -
                   std::exchange(before, pair.client->requests_sent());
        };
        EXPECT_EQ(stream->Write(content, count), result::kOk);
        EXPECT_EQ(count, size);
        EXPECT_EQ(made(), size > Proxy::kMaxWritten ? 2u : 1u);
        EXPECT_EQ(stream->Seek(0, SeekOrigin::kStart, position), result::kOk);
        made();
        EXPECT_EQ(stream->Read(read, count), result::kOk);
        EXPECT_EQ(made(), std::max<std::size_t>(1, (size + Proxy::kMaxRead - 1) / Proxy::kMaxRead));
        EXPECT_TRUE(read == content);
        EXPECT_EQ(stream->Seek(0, SeekOrigin::kStart, position), result::kOk);
    }
}

TEST(DataStreamProxy, IsCalledByManyThreads) {
    Pair pair(RefPtr<vek::IObject>(
        vek::MakeObject<MemoryStream>(std::make_shared<byte_vector>(Pattern(25000)))));
    const auto stream = pair.Service<IDataStream>();
    std::vector<std::thread> threads;
    for (unsigned seed = 0; seed < 3; ++seed) {
        threads.emplace_back([&stream, seed] {
            std::mt19937 random(seed);
            for (int step = 0; step < 300; ++step, random.discard(4)) Do(*stream, random);
        });
    }
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace tests
