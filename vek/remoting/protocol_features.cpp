#include "vek/remoting/protocol_features.h"

#include <algorithm>

#include "vek/trace/line.h"

namespace vek::remoting {
namespace {

ProtocolFeatures FromBytes(const std::array<std::uint8_t, 4>& bytes) noexcept {
    return {bytes[0], bytes[1], bytes[2], bytes[3]};
}

}  // namespace

result_t CalculateEffectiveFeatures(const ProtocolFeatures& mine, const ProtocolFeatures& peer,
                                    const ProtocolFeatures& required,
                                    ProtocolFeatures& effective) noexcept {
    const auto a = mine.bytes();
    const auto b = peer.bytes();
    const auto needed = required.bytes();
    std::array<std::uint8_t, 4> both{};
    for (std::size_t i = 0; i < both.size(); ++i) {
        if (a[i] > 1 || b[i] > 1) return result::kInvalidVersion;
        both[i] = a[i] & b[i];
        if (both[i] < needed[i]) return result::kInvalidVersion;
    }
    effective = FromBytes(both);
    return result::kOk;
}

void SerializeFeatures(serialization::Writer& writer, const ProtocolFeatures& features) {
    writer.Write(kFeatureListSize);
    const auto bytes = features.bytes();
    writer.WriteBytes(std::as_bytes(std::span(bytes)));
}

void DeserializeFeatures(serialization::Reader& reader, ProtocolFeatures& features) noexcept {
    const auto size = reader.Read<std::uint32_t>();
    const serialization::bytes_t list = reader.ReadBytes(size);
    if (Failed(reader.result())) return;
    if (list.size() < kFeatureListSize) return reader.Fail(result::kInvalidSize);
    std::array<std::uint8_t, 4> bytes;
    std::ranges::copy(list.first<kFeatureListSize>(),
                      std::as_writable_bytes(std::span(bytes)).begin());
    features = FromBytes(bytes);
}

void AppendPiece(std::string& line, const ProtocolFeatures& features) {
    using trace::AppendPiece;
    AppendPiece(line, "{ proxyLoopElimination=");
    AppendPiece(line, features.proxyLoopElimination);
    AppendPiece(line, ", transferFileHandles=");
    AppendPiece(line, features.transferFileHandles);
    AppendPiece(line, ", objectFlagInStubHandle=");
    AppendPiece(line, features.objectFlagInStubHandle);
    AppendPiece(line, ", nullArgumentFlags=");
    AppendPiece(line, features.nullArgumentFlags);
    AppendPiece(line, " }");
}

}  // namespace vek::remoting
