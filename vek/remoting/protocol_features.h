#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "vek/core/result.h"
#include "vek/serialization/reader.h"
#include "vek/serialization/writer.h"

namespace vek::remoting {

// The abilities of one end of a connection: one byte each, 0 or 1, in this order in memory and on
// the wire.
struct ProtocolFeatures {
    // A handle that comes back to the end whose object it is gives the object itself.
    std::uint8_t proxyLoopElimination = 0;
    // Calls may carry kernel handles.
    std::uint8_t transferFileHandles = 0;
    // Stub handles carry the object flag.
    std::uint8_t objectFlagInStubHandle = 0;
    // Calls say which of their interface arguments are null.
    std::uint8_t nullArgumentFlags = 0;

    std::array<std::uint8_t, 4> bytes() const noexcept {
        return {proxyLoopElimination, transferFileHandles, objectFlagInStubHandle,
                nullArgumentFlags};
    }
    bool operator==(const ProtocolFeatures&) const = default;
};

inline constexpr ProtocolFeatures kAllFeatures{1, 1, 1, 1};
// The abilities that this tree's ends announce: none of its interfaces carries kernel handles.
inline constexpr ProtocolFeatures kOwnFeatures{1, 0, 1, 1};

// Gives the abilities that both ends have. kInvalidVersion when a byte of either is neither 0 nor
// 1, or a feature of `required` is missing: the ends cannot work together.
result_t CalculateEffectiveFeatures(const ProtocolFeatures& mine, const ProtocolFeatures& peer,
                                    const ProtocolFeatures& required,
                                    ProtocolFeatures& effective) noexcept;

// On the wire a feature list is the number of its bytes (u32), then the bytes: a later end may
// append more of them.
inline constexpr std::uint32_t kFeatureListPrefixSize = 4;
inline constexpr std::uint32_t kFeatureListSize = 4;

void SerializeFeatures(serialization::Writer& writer, const ProtocolFeatures& features);

// A list that is too short is kInvalidSize; what it holds beyond the known bytes is skipped.
void DeserializeFeatures(serialization::Reader& reader, ProtocolFeatures& features) noexcept;

// For traces: "{ proxyLoopElimination=1, ... }".
void AppendPiece(std::string& line, const ProtocolFeatures& features);

}  // namespace vek::remoting
