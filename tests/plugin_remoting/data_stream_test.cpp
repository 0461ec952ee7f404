// A stream of the other process reads ahead, and nobody can tell but by the number of calls.

#include <algorithm>
#include <random>

#include "common/remoting/remote_interfaces.h"
#include "private_include/common/mail_message.h"
#include "tests/remoting/pair_fixture.h"

namespace tests {
namespace {

using plugins::mail_processing::IDataStream;
using plugins::mail_processing::IPropertyProvider;
using plugins::mail_processing::SeekOrigin;

// A stream over byte_vector that others may share.
class MemoryStream final : public vek::ObjectImpl<IDataStream> {
public:
    explicit MemoryStream(std::shared_ptr<byte_vector> content) : content_(std::move(content)) {}

    result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override {
        const std::size_t left = content_->size() - std::min(position_, content_->size());
        read = static_cast<std::uint32_t>(std::min(left, buffer.size()));
        std::copy_n(
            content_->begin() + static_cast<std::ptrdiff_t>(std::min(position_, content_->size())),
            read, buffer.begin());
        position_ += read;
        return result::kOk;
    }
    result_t Write(std::span<const std::byte> data, std::uint32_t& written) noexcept override {
        if (position_ + data.size() > content_->size()) content_->resize(position_ + data.size());
        std::copy(data.begin(), data.end(),
                  content_->begin() + static_cast<std::ptrdiff_t>(position_));
        position_ += data.size();
        written = static_cast<std::uint32_t>(data.size());
        return result::kOk;
    }
    result_t Seek(std::int64_t offset, SeekOrigin origin,
                  std::uint64_t& position) noexcept override {
        const std::int64_t base = origin == SeekOrigin::kStart ? 0
                                  : origin == SeekOrigin::kCurrent
                                      ? static_cast<std::int64_t>(position_)
                                      : static_cast<std::int64_t>(content_->size());
        if (base + offset < 0) return result::kInvalidArgument;
        position = position_ = static_cast<std::size_t>(base + offset);
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

// Does the same to two streams and compares what they answer.
struct Twins {
    IDataStream& remote;
    IDataStream& local;

    bool Do(std::mt19937& random) {
        const auto below = [&](std::size_t limit) { return random() % limit; };
        const auto same = [&](auto use) { return use(remote) == use(local); };
        switch (below(8)) {
            case 0:
                return same([data = Pattern(below(5000))](IDataStream& stream) {
                    std::uint32_t count = 0;
                    const result_t code = stream.Write(data, count);
                    return std::pair(code, count);
                });
            case 1:
                return same([origin = static_cast<SeekOrigin>(below(3)),
                             offset = static_cast<std::int64_t>(below(200000)) -
                                      60000](IDataStream& stream) {
                    std::uint64_t position = 0;
                    const result_t code = stream.Seek(offset, origin, position);
                    return std::pair(code, position);
                });
            case 2:
                return same([cut = below(6) == 0, to = below(300000)](IDataStream& stream) {
                    std::uint64_t size = 0;
                    if (cut) stream.SetSize(to);
                    const result_t code = stream.GetSize(size);
                    return std::pair(code, size);
                });
            default:
                return same(
                    [size = below(4) == 0 ? below(100000) : below(3000)](IDataStream& stream) {
                        byte_vector bytes(size);
                        std::uint32_t count = 0;
                        const result_t code = stream.Read(bytes, count);
                        return std::tuple(code, count, std::move(bytes));
                    });
        }
    }
};

TEST(DataStreamProxy, AnswersAsTheStreamItself) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        const auto remote_side = std::make_shared<byte_vector>(Pattern(250000));
        const auto own_side = std::make_shared<byte_vector>(*remote_side);
        // Two streams over one content: what one writes the other reads.
        Pair one(plugins::remoting::RemoteInterfaces(),
                 RefPtr<vek::IObject>(vek::MakeObject<MemoryStream>(remote_side)));
        const auto first = one.Service<IDataStream>();
        const auto other = vek::MakeObject<MemoryStream>(remote_side);
        RefPtr<IDataStream> second;
        remoting::stub_handle_t handle;
        ASSERT_EQ(one.server->registry().CreateStub(IDataStream::kInterfaceId, other.get(), handle),
                  result::kOk);
        ASSERT_EQ(one.client->registry().CreateProxy(IDataStream::kInterfaceId,
                                                     std::make_shared<remoting::StubReference>(
                                                         remoting::StubAddress{one.client, handle}),
                                                     second.put_void()),
                  result::kOk);
        const auto near_first = vek::MakeObject<MemoryStream>(own_side);
        const auto near_second = vek::MakeObject<MemoryStream>(own_side);
        std::mt19937 random(seed);
        for (int step = 0; step < 300; ++step) {
            Twins twins =
                random() % 3 != 0 ? Twins{*first, *near_first} : Twins{*second, *near_second};
            ASSERT_TRUE(twins.Do(random)) << "seed " << seed << ", step " << step;
        }
        ASSERT_EQ(*remote_side, *own_side);
    }
}

TEST(DataStreamProxy, CrossesTheBorderSeldom) {
    struct Case {
        std::size_t size, piece, calls;
    };
    for (const Case& c : {Case{10u << 20, 64u << 10, 20}, Case{10u << 20, 1000, 20},
                          Case{100, 64u << 10, 1}, Case{10u << 20, 10u << 20, 11}}) {
        Pair pair(plugins::remoting::RemoteInterfaces(),
                  RefPtr<vek::IObject>(vek::MakeObject<MemoryStream>(
                      std::make_shared<byte_vector>(Pattern(c.size)))));
        const auto stream = pair.Service<IDataStream>();
        const auto before = pair.client->requests_sent();
        byte_vector piece(c.piece);
        std::size_t total = 0;
        std::uint32_t read = 1;
        while (read > 0) {
            ASSERT_EQ(stream->Read(piece, read), result::kOk);
            total += read;
            if (read < piece.size()) break;
        }
        EXPECT_EQ(total, c.size);
        EXPECT_LE(pair.client->requests_sent() - before, c.calls) << c.piece;
    }
}

}  // namespace
}  // namespace tests
