#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "remote/byte_budget.h"
#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"

namespace remote {
namespace {

namespace result = vek::result;
using packet_t = std::vector<std::byte>;
using ::testing::ElementsAre;
using vek::platform::system_error_t;

// Two hexadecimal digits a byte; blanks are for the reader.
packet_t FromHex(std::string hex) {
    std::erase(hex, ' ');
    packet_t bytes(hex.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::byte>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
    }
    return bytes;
}

vek::result_t Parse(RpcProtocolProcessorIn& processor, const std::string& hex, bool in_place) {
    const auto packet = FromHex(hex);
    PacketBuffer buffer = PacketBuffer::Allocate(packet.size());  // the sanitizer sees its end
    std::ranges::copy(packet, buffer.data());
    return in_place ? processor.ParsePacket(std::move(buffer))
                    : processor.ParsePacket(buffer.span());
}

std::string Summary(const RpcProtocolProcessorIn& in) {
    std::ostringstream text;
    if (in.has_call_data()) text << "data ";
    for (const std::byte byte : in.GetCallData()) text << static_cast<int>(byte) << " ";
    if (in.has_call_identification()) text << in.call_id() << "<" << in.parent_call_id();
    if (in.has_file_handles()) text << " handles";
    return text.str();
}

TEST(PacketRead, TakesWhatItKnowsAndRefusesMalformedPackets) {
    const struct {
        std::string hex, summary;
        vek::result_t code = result::kOk;
        std::size_t zeros = 0;  // that follow, in bytes
    } cases[] = {
        // The last of a kind.
        {"eced3003 0300 0400 00000000 0100 0200 0102 0200 0800 0100000002000000 0100 0100 04 "
         "0200 0800 0300000004000000",
         "data 4 3<4 handles"},
        {"eced3003", ""},
        {"eced3003 0700 0300 010203 0100 0200 aabb", "data 170 187 "},
        {"eded3003", "", result::kInvalidSignature},
        {"eced3003 0200 0c00 01000080 02000000 ffffffff 0100 0000", "data 2147483649<2"},
        {"eced3003 01", "", result::kBufferTooSmall},
        {"eced3003 0100 ffff 0200 0800", "data 2 0 8 0 "},
        {"eced3003 0200 0800 0100000002000000 0100 0001", "", result::kInvalidSize, 0xFF},
        // Not at the expense of the next block.
        {"eced3003 0200 0400 01000000 0700 0400 02000000", "", result::kBufferTooSmall},
        {"eced3003 0300 0b00 01000000 00000000 000000 0700 0400 00000000", "",
         result::kInvalidSignature},
        {"eced3003 0300 0000", "", result::kInvalidSignature},
        {"eced3003 0300 ffff 000000", "", result::kInvalidSignature},
        {"eced3003 0300 0300 000000 0700 0400 00000000", "", result::kInvalidSignature},
        {"eced3003 0300 ffff 01000000 00000000 05000000", " handles"},
        {"eced3003 0300 0700 01000000 000000", "", result::kInvalidSignature},
        {"eced3003 0300 ffff 02000000 00000000", "", result::kInvalidSignature},
        // Would do in 32 bits.
        {"eced3003 0300 0c00 e2830f3e 00000000 00000000", "", result::kInvalidSignature},
        // More handles than a block of a size of its own holds, though the bytes are there.
        {"eced3003 0300 ffff 0e3e0000", "", result::kOutOfMemory, std::size_t{4} * (15886 + 497)},
    };
    for (const bool in_place : {false, true}) {
        RpcProtocolProcessorIn processor;  // nothing of one packet is there in the next
        for (const auto& [start, summary, code, zeros] : cases) {
            const std::string hex = start + std::string(2 * zeros, '0');
            EXPECT_EQ(Parse(processor, hex, in_place), code) << start;
            EXPECT_EQ(Summary(processor), summary) << start;
        }
    }
}

TEST(PacketRead, IsBoundedInWhatAPeerMakesOfIt) {
    ByteBudget budget{0};
    for (int again = 0; again < 2; ++again) {
        ByteClaim first(&budget), second(&budget);
        EXPECT_TRUE(first.Grow(kMaxHeldBytes - 1));
        EXPECT_FALSE(second.Grow(2));
        EXPECT_TRUE(second.Grow(1));
        EXPECT_FALSE(second.Grow(2));
    }
}

// The peer's handles are this process's plus 1000. The `failing`th operation (from 1) fails.
struct FakeTransfer final : HandleTransfer {
    system_error_t ToPeer(handle_t handle, handle_t& in_peer) noexcept override {
        return Make(handle + 1000, in_peer);
    }
    system_error_t FromPeer(std::size_t, handle_t value, handle_t& here) noexcept override {
        return Make(value - 1000, here);
    }
    system_error_t Duplicate(handle_t handle, handle_t& copy) noexcept override {
        return Make(-handle, copy);
    }
    void Close(handle_t handle) noexcept override { EXPECT_EQ(open.erase(handle), 1u); }
    void CloseInPeer(handle_t in_peer) noexcept override { Close(in_peer); }
    bool PeerCanPush() const noexcept override { return can_push; }

    int failing = 0;
    bool can_push = true;
    std::set<handle_t> open;

    system_error_t Make(handle_t handle, handle_t& made) noexcept {
        if (--failing == 0) return 1314;
        open.insert(made = handle);
        return vek::platform::system_error::kNone;
    }
};

TEST(PacketWrite, WritesItsBlocksInOrderIfTheyFit) {
    const packet_t data = FromHex("a1a2a3");
    const bytes_t pieces[] = {bytes_t(data).first(1), {}, bytes_t(data).last(2)};
    const handle_t handles[] = {5, -2};
    FakeTransfer transfer;
    transfer.failing = 2;
    RpcProtocolProcessorOut out;
    out.SetCallIdentification(0x01020304, 5);
    out.SetFileHandles(handles);
    out.SetCallData(pieces);

    packet_t packet(out.PacketSize());
    ASSERT_EQ(out.ConstructPacket(packet, &transfer), result::kOk);
    EXPECT_EQ(packet, FromHex("eced3003 0200 0800 04030201 05000000 "
                              "0300 1000 02000000 01000000 ed030000 feffffff "
                              "0100 0300 a1a2a3"));
    EXPECT_THAT(out.transferred(), ElementsAre(1005u, 0xFFFFFFFFu));
    for (int again = 0; again < 2; ++again) out.CloseTransferred(transfer);
    EXPECT_TRUE(transfer.open.empty());

    // Into too short a buffer, of each length, and nothing is pushed for no packet.
    transfer = {};
    for (std::size_t size = 0; size < packet.size(); ++size) {
        packet_t buffer(packet.size());
        EXPECT_EQ(out.ConstructPacket(std::span(buffer).first(size), &transfer),
                  result::kBufferTooSmall);
        EXPECT_EQ(std::ranges::count(std::span(buffer).subspan(size), std::byte{0}),
                  packet.size() - size);
    }
    EXPECT_TRUE(transfer.open.empty());
    const std::vector<handle_t> many(15886);
    EXPECT_EQ(out.SetFileHandles(many), result::kInvalidSize);
    EXPECT_EQ(out.SetFileHandles(std::span(many).first(15885)), result::kOk);
}

TEST(PacketHandle, IsPreparedWithAllOthersOrNot) {
    // Two of the sender's own, one that it has pushed, and one more of its own.
    const auto packet =
        FromHex("eced3003 0300 1800 04000000 04000000 e9030000 ea030000 07000000 feffffff");
    for (int way = 0; way < 20; ++way) {
        const bool adopt = way % 2 != 0, can_push = way / 2 % 2 != 0;
        const int failing = way / 4;
        RpcProtocolProcessorIn in;
        ASSERT_EQ(in.ParsePacket(packet), result::kOk);
        FakeTransfer transfer;
        transfer.failing = failing;
        transfer.can_push = can_push;
        const auto code = in.PrepareHandles(transfer, adopt);
        if (!can_push || (failing != 0 && failing < (adopt ? 4 : 5))) {
            EXPECT_EQ(code, result::kUnexpected);
            EXPECT_TRUE(transfer.open.empty() && in.handles().empty());
            continue;
        }
        // The second time nothing is left to do.
        EXPECT_EQ(in.PrepareHandles(transfer, !adopt), result::kOk);
        EXPECT_THAT(in.handles(), ElementsAre(1, 2, adopt ? 7 : -7, -1002));
        EXPECT_EQ(transfer.open.size(), adopt ? 3u : 4u);
    }
}

}  // namespace
}  // namespace remote
