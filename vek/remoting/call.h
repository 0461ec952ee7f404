#pragma once

// The heads of requests and replies, which precede the arguments.
//
//     request   stub handle (u64, 0: the connection itself), interface id (u32), method id (u16),
//               method attributes (u16), released handles (list of u64), request data
//     reply     result of the delivery (u32), released handles (list of u64), reply data
//
// The released handles are stubs of the receiver that the sender no longer uses. They ride on
// whatever is sent next, which saves a call for each.

#include <cstdint>
#include <string>
#include <vector>

#include "remote/packet/rpc_protocol_processor_out.h"
#include "vek/core/object.h"
#include "vek/core/result.h"
#include "vek/remoting/stub_handle.h"
#include "vek/serialization/reader.h"
#include "vek/serialization/writer.h"

namespace vek::remoting {

using bytes_t = serialization::bytes_t;
using method_id_t = std::uint16_t;
using method_attributes_t = std::uint16_t;

namespace method_attribute {
inline constexpr method_attributes_t kNone = 0;
// The call carries a priority.
inline constexpr method_attributes_t kPriority = 1;
}  // namespace method_attribute

namespace method_id {
// An interface's own methods are numbered by their slot; the base's take the first three, of which
// only the release is ever sent.
inline constexpr method_id_t kRelease = 1;
inline constexpr method_id_t kFirstOwn = 3;
inline constexpr method_id_t kFirstSpecial = 1000;
inline constexpr method_id_t kQueryInterface = 1000;
}  // namespace method_id

namespace service_call {
inline constexpr method_id_t kOldServiceLocator = 0;
inline constexpr method_id_t kServiceLocator = 1;
// Asks for a sign of life, which any answer is; there is no such call, as every peer answers.
inline constexpr method_id_t kSignOfLife = 0xFFFF;
}  // namespace service_call

// Names the method that a request calls, and the object it calls it of.
struct CallTarget {
    stub_handle_t handle = kNoHandle;
    interface_id_t interface_id = 0;
    method_id_t method_id = 0;
    method_attributes_t attributes = method_attribute::kNone;
};

// For traces: ". methodId = 3, interface = 0x652a26d7, staticAttr = 0, handle = 17".
void AppendPiece(std::string& line, const CallTarget& target);

using released_t = std::vector<stub_handle_t>;

// Room in front of request or reply data for all heads, when no handles are released.
inline constexpr std::size_t kRequestHeaderSize = 20;
inline constexpr std::size_t kReplyHeaderSize = 8;
inline constexpr std::size_t kRoomForHeads = remote::kRoomForHeads + kRequestHeaderSize;

void WriteRequestHeader(serialization::Writer& writer, const CallTarget& target,
                        std::span<const stub_handle_t> released);
// The same into so many bytes, without released handles.
void WriteBareRequestHeader(std::byte* header, const CallTarget& target) noexcept;
void WriteBareReplyHeader(std::byte* header, result_t delivery) noexcept;
void WriteReplyHeader(serialization::Writer& writer, result_t delivery,
                      std::span<const stub_handle_t> released);

// Handles in a list as it came: read one by one.
class ReleasedList {
public:
    explicit ReleasedList(bytes_t bytes = {}) noexcept : bytes_(bytes) {}

    std::size_t size() const noexcept { return bytes_.size() / sizeof(stub_handle_t); }

    template <class Visit>
    void ForEach(Visit visit) const {
        serialization::Reader reader(bytes_);
        while (reader.left() > 0) visit(reader.Read<stub_handle_t>());
    }

private:
    bytes_t bytes_;
};

// The heads as they were read; `released` views the bytes they were read from.
struct RequestHeader {
    CallTarget target;
    ReleasedList released;
};
struct ReplyHeader {
    result_t delivery = result::kOk;
    ReleasedList released;
};

// Failures are left in the reader.
RequestHeader ReadRequestHeader(serialization::Reader& reader) noexcept;
ReplyHeader ReadReplyHeader(serialization::Reader& reader) noexcept;

}  // namespace vek::remoting
