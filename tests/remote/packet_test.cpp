#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <sstream>

#include "remote/byte_budget.h"
#include "remote/packet/rpc_protocol_processor_in.h"
#include "remote/packet/rpc_protocol_processor_out.h"
#include "tests/support/allocation_probe.h"
#include "tests/support/recording_tracer.h"

namespace remote {
namespace {

namespace result = vek::result;
using packet_t = std::vector<std::byte>;
using ::testing::ElementsAre;
using tests::RecordingTracer;
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
    // Of exactly its size, so that the sanitizer sees every byte beyond.
    const auto packet = FromHex(hex);
    PacketBuffer buffer = PacketBuffer::Allocate(packet.size());
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

TEST(PacketRead, RefusesMalformedPackets) {
    const std::string parse = "600 rmt\tRpcProtocolProcessorIn::ParsePacket: ";
    const std::string read =
        "300 instrumental/legacy/core/source/remote/packet/rpc_protocol_processor_in.cpp(";
    const struct {
        std::string hex;
        vek::result_t code;
        std::string begins, ends;
    } cases[] = {
        {"eded3003", result::kInvalidSignature, parse, "Packet: wrong packet signature"},
        {"eced3003 01", result::kBufferTooSmall, read,
         "): ReadFromBuffer(buffer, size, tag), result = 0x80000044"},
        // What was read before does not stay.
        {"eced3003 0200 0800 0100000002000000 0100 0001" + std::string(0xFF * 2, '0'),
         result::kInvalidSize, parse,
         "wrong block in packet - invalid block size = 256, packet size = 255"},
        // Not at the expense of the next block.
        {"eced3003 0200 0400 01000000 0700 0400 02000000", result::kBufferTooSmall, read,
         "parent_call_id_), result = 0x80000044"},
        {"eced3003 0300 0800 01000000 00000000 0700 0400 00000000", result::kBufferTooSmall, read,
         "values_.size() * sizeof values_[0]), result = 0x80000044"},
        {"eced3003 0300 0700 01000000 000000", result::kInvalidSignature, parse,
         "wrong file handles in packet - required size = 8, block size = 7"},
        {"eced3003 0300 ffff 02000000 00000000", result::kInvalidSignature, parse,
         "required size = 12, block size = 8"},
        // Would do in 32 bits.
        {"eced3003 0300 0c00 e2830f3e 00000000 00000000", result::kInvalidSignature, parse,
         "required size = 4294967304, block size = 12"},
    };
    for (const auto& c : cases) {
        for (const bool in_place : {false, true}) {
            const auto tracer = std::make_shared<RecordingTracer>();
            RpcProtocolProcessorIn processor(tracer);
            EXPECT_EQ(Parse(processor, c.hex, in_place), c.code) << c.hex;
            ASSERT_EQ(tracer->lines().size(), 1u);
            EXPECT_THAT(tracer->lines()[0], ::testing::StartsWith(c.begins));
            EXPECT_THAT(tracer->lines()[0], ::testing::EndsWith(c.ends));
            EXPECT_EQ(Summary(processor), "");
        }
    }
}

TEST(PacketRead, TakesWhatItKnows) {
    const struct {
        const char *hex, *summary, *trace;
    } cases[] = {
        // The last of a kind.
        {"eced3003 0300 0400 00000000 0100 0200 0102 0200 0800 0100000002000000 0100 0100 04 "
         "0200 0800 0300000004000000",
         "data 4 3<4 handles", nullptr},
        {"eced3003", "", nullptr},
        {"eced3003 0700 0300 010203 0100 0200 aabb", "data 170 187 ",
         "700 rmt\tRpcProtocolProcessorIn::ParsePacket: unknown block 7, size 3 - skip"},
        {"eced3003 0200 0c00 01000080 02000000 ffffffff 0100 0000", "data 2147483649<2", nullptr},
        {"eced3003 0100 ffff 0200 0800", "data 2 0 8 0 ", nullptr},
    };
    for (const bool in_place : {false, true}) {
        const auto tracer = std::make_shared<RecordingTracer>();
        RpcProtocolProcessorIn processor(tracer);  // nothing of one packet is there in the next
        std::vector<std::string> expected;
        for (const auto& c : cases) {
            ASSERT_EQ(Parse(processor, c.hex, in_place), result::kOk);
            EXPECT_EQ(Summary(processor), c.summary);
            if (c.trace != nullptr) expected.emplace_back(c.trace);
            EXPECT_EQ(tracer->lines(), expected);
        }
    }
}

TEST(PacketRead, IsBoundedInWhatAPeerMakesOfIt) {
    std::string many = "eced3003";
    for (int i = 0; i < 1000; ++i) many += "0900 0000";
    const auto tracer = std::make_shared<RecordingTracer>();
    RpcProtocolProcessorIn processor(tracer);
    EXPECT_EQ(Parse(processor, many, false), result::kOk);
    EXPECT_EQ(tracer->lines().size(), 8u) << "blocks that it does not know";

    // More handles than a block of a size of its own holds, though the bytes are there.
    std::string handles = "eced3003 0300 ffff 0e3e0000";
    handles.append(2 * 4 * (15886 + 497), '0');
    EXPECT_EQ(Parse(processor, handles, false), result::kInvalidSignature);

    ByteBudget budget{0};
    {
        ByteClaim first(&budget), second(&budget);
        EXPECT_TRUE(first.Grow(kMaxHeldBytes - 1));
        EXPECT_FALSE(second.Grow(2));
        EXPECT_TRUE(second.Grow(1));
        EXPECT_FALSE(second.Grow(2));
        EXPECT_EQ(budget, kMaxHeldBytes);
    }
    EXPECT_EQ(budget, 0u);
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

TEST(PacketRead, SaysForWhatMemoryIsWanting) {
    const auto tracer = std::make_shared<RecordingTracer>();
    RpcProtocolProcessorIn processor(tracer);
    FakeTransfer transfer;
    const auto handles = FromHex("eced3003 0300 0c00 01000000 00000000 05000000");
    for (const std::size_t failing : {1, 3}) {
        const tests::AllocationProbe probe(failing);
        if (vek::Succeeded(processor.ParsePacket(handles))) {
            EXPECT_EQ(processor.PrepareHandles(transfer, true), result::kOutOfMemory);
        }
    }
    const std::string text = ": cannot allocate block for incoming file handles of count 1";
    EXPECT_THAT(tracer->lines(),
                ElementsAre("600 rmt\tRpcProtocolProcessorIn::ParsePacket" + text,
                            "600 rmt\tRpcProtocolProcessorIn::PrepareHandles" + text));
#ifndef __SANITIZE_ADDRESS__  // whose allocator ends the program instead
    // The rest of the packet is not there, but without memory for it it is not read either.
    const auto head = FromHex("eced3003 0100 ffff");
    const std::size_t size = PTRDIFF_MAX - 0xFFFF;
    EXPECT_EQ(processor.ParsePacket(bytes_t(head.data(), size + head.size())),
              result::kOutOfMemory);
    EXPECT_EQ(tracer->Count("block for incoming data of size " + std::to_string(size)), 1u);
#endif
}

TEST(PacketWrite, WritesItsBlocksInOrder) {
    const packet_t data = FromHex("a1a2a3");
    const bytes_t pieces[] = {bytes_t(data).first(1), {}, bytes_t(data).last(2)};
    const handle_t handles[] = {5, -2};
    FakeTransfer transfer;
    transfer.failing = 2;
    const auto tracer = std::make_shared<RecordingTracer>();
    RpcProtocolProcessorOut out(tracer);
    out.SetCallIdentification(0x01020304, 5);
    out.SetFileHandles(handles);
    out.SetCallData(pieces);

    packet_t packet(out.PacketSize());
    ASSERT_EQ(out.ConstructPacket(packet, &transfer), result::kOk);
    EXPECT_EQ(packet, FromHex("eced3003 0200 0800 04030201 05000000 "
                              "0300 1000 02000000 01000000 ed030000 feffffff "
                              "0100 0300 a1a2a3"));
    EXPECT_THAT(out.transferred(), ElementsAre(1005u, 0xFFFFFFFFu));
    EXPECT_THAT(tracer->lines(),
                ElementsAre("600 rmt\tRpcProtocolProcessorOut::ConstructPacket: cannot convert "
                            "handle -2, err 1314"));

    packet_t head(out.HeadSize());
    transfer.failing = 2;
    ASSERT_EQ(out.ConstructHead(head, &transfer), result::kOk);
    head.insert(head.end(), data.begin(), data.end());
    EXPECT_EQ(head, packet);

    // Into too short a buffer, of each length, and nothing is pushed for no packet.
    transfer = {};
    for (std::size_t size = 0; size < packet.size(); ++size) {
        packet_t buffer(packet.size(), std::byte{0xEE});
        EXPECT_EQ(out.ConstructPacket(std::span(buffer).first(size), &transfer),
                  result::kBufferTooSmall);
        EXPECT_TRUE(std::ranges::all_of(std::span(buffer).subspan(size),
                                        [](std::byte byte) { return byte == std::byte{0xEE}; }));
    }
    EXPECT_TRUE(transfer.open.empty());
    EXPECT_EQ(tracer->Count("rpc_block_tag::Signature, sizeof(uint32_t)), result = 0x80000044"),
              4u);
}

TEST(PacketWrite, IsReadBack) {
    const std::vector<handle_t> handles(33, -3);
    for (const std::size_t size : {0, 0xFFFE, 0xFFFF, 0x10000}) {
        const packet_t data(size, std::byte{7});
        const bytes_t piece = data;
        RpcProtocolProcessorOut out;
        out.SetFileHandles(handles);
        out.SetCallData({&piece, 1});
        packet_t packet(out.PacketSize());
        FakeTransfer transfer;
        transfer.failing = 33;
        ASSERT_EQ(out.ConstructPacket(packet, &transfer), result::kOk);
        ASSERT_EQ(packet.size(), 4 + 4 + 144 + 4 + size);
        EXPECT_EQ(packet[4 + 2], std::byte{144});
        EXPECT_EQ(packet[156 - 2], static_cast<std::byte>(std::min<std::size_t>(size, 0xFFFF)));

        RpcProtocolProcessorIn in;
        ASSERT_EQ(in.ParsePacket(packet), result::kOk);
        EXPECT_TRUE(std::ranges::equal(in.GetCallData(), data));
        ASSERT_EQ(in.PrepareHandles(transfer, true), result::kOk);
        EXPECT_EQ(in.handles()[0], -3 + 1000);
        EXPECT_EQ(in.handles()[32], -3 - 1000);  // was not pushed
    }
}

TEST(PacketWrite, RefusesWhatAPacketCannotHold) {
    RpcProtocolProcessorOut out;
    const std::vector<handle_t> handles(15886);
    EXPECT_EQ(out.SetFileHandles(handles), result::kInvalidSize);
    EXPECT_EQ(out.SetFileHandles(std::span(handles).first(15885)), result::kOk);
    const packet_t data(1 << 20);
    const std::vector<bytes_t> pieces(4096, data);  // 4 GiB
    EXPECT_EQ(out.SetCallData(pieces), result::kInvalidSize);
    EXPECT_EQ(out.SetCallData(std::span(pieces).first(4095)), result::kOk);
}

TEST(PacketHandle, IsPreparedWithAllOthersOrNot) {
    const struct {
        bool adopt, can_push;
        int failing;
        std::string trace;
    } cases[] = {
        {true, true, 0, ""},
        {false, true, 0, ""},
        {true, true, 3, "convert remote handle 4294967294, err 1314"},
        {false, true, 3, "duplicate local handle 7, err 1314"},
        {true, false, 0, "duplicate local handle 7, err 6"},
    };
    for (const auto& c : cases) {
        const auto tracer = std::make_shared<RecordingTracer>();
        RpcProtocolProcessorIn in(tracer);
        // Two of the sender's own, one that it has pushed, and one more of its own.
        in.ParsePacket(
            FromHex("eced3003 0300 1800 04000000 04000000 e9030000 ea030000 07000000 feffffff"));
        FakeTransfer transfer;
        transfer.failing = c.failing;
        transfer.can_push = c.can_push;
        if (!c.trace.empty()) {
            EXPECT_EQ(in.PrepareHandles(transfer, c.adopt), result::kUnexpected);
            EXPECT_EQ(tracer->lines().back(),
                      "600 rmt\tRpcProtocolProcessorOut::ConstructPacket: cannot " + c.trace);
            EXPECT_TRUE(transfer.open.empty() && in.handles().empty());
            continue;
        }
        for (const bool adopt : {c.adopt, !c.adopt}) {  // the second time nothing is left to do
            EXPECT_EQ(in.PrepareHandles(transfer, adopt), result::kOk);
            EXPECT_THAT(in.handles(), ElementsAre(1, 2, c.adopt ? 7 : -7, -1002));
        }
        EXPECT_EQ(transfer.open.size(), c.adopt ? 3u : 4u);
    }
}

}  // namespace
}  // namespace remote
