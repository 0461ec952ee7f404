#include "vek/remoting/call.h"

#include <cstddef>
#include <cstring>

#include "vek/trace/line.h"

namespace vek::remoting {
namespace {

void WriteReleased(serialization::Writer& writer, std::span<const stub_handle_t> released) {
    writer.Write(static_cast<std::uint32_t>(released.size()));
    writer.WriteBytes(std::as_bytes(released));
}

ReleasedList ReadReleased(serialization::Reader& reader) noexcept {
    const std::uint64_t count = reader.Read<std::uint32_t>();
    return ReleasedList(reader.ReadBytes(count * sizeof(stub_handle_t)));
}

}  // namespace

void AppendPiece(std::string& line, const CallTarget& target) {
    using trace::AppendPiece;
    AppendPiece(line, ". methodId = ");
    AppendPiece(line, target.method_id);
    AppendPiece(line, ", interface = ");
    AppendPiece(line, trace::Hex(target.interface_id));
    AppendPiece(line, ", staticAttr = ");
    AppendPiece(line, target.attributes);
    AppendPiece(line, ", handle = ");
    AppendPiece(line, target.handle);
}

void WriteRequestHeader(serialization::Writer& writer, const CallTarget& target,
                        std::span<const stub_handle_t> released) {
    writer.Write(target.handle);
    writer.Write(target.interface_id);
    writer.Write(target.method_id);
    writer.Write(target.attributes);
    WriteReleased(writer, released);
}

void WriteReplyHeader(serialization::Writer& writer, result_t delivery,
                      std::span<const stub_handle_t> released) {
    writer.Write(delivery);
    WriteReleased(writer, released);
}

void WriteBareRequestHeader(std::byte* header, const CallTarget& target) noexcept {
    // The target lies in memory as on the wire.
    static_assert(offsetof(CallTarget, interface_id) == 8 &&
                  offsetof(CallTarget, method_id) == 12 && offsetof(CallTarget, attributes) == 14 &&
                  sizeof target == 16);
    std::memcpy(header, &target, sizeof target);
    std::memset(header + sizeof target, 0, kRequestHeaderSize - sizeof target);
}

void WriteBareReplyHeader(std::byte* header, result_t delivery) noexcept {
    std::memcpy(header, &delivery, sizeof delivery);
    std::memset(header + sizeof delivery, 0, kReplyHeaderSize - sizeof delivery);
}

RequestHeader ReadRequestHeader(serialization::Reader& reader) noexcept {
    RequestHeader header;
    header.target.handle = reader.Read<stub_handle_t>();
    header.target.interface_id = reader.Read<interface_id_t>();
    header.target.method_id = reader.Read<method_id_t>();
    header.target.attributes = reader.Read<method_attributes_t>();
    header.released = ReadReleased(reader);
    return header;
}

ReplyHeader ReadReplyHeader(serialization::Reader& reader) noexcept {
    ReplyHeader header;
    header.delivery = reader.Read<result_t>();
    header.released = ReadReleased(reader);
    return header;
}

}  // namespace vek::remoting
