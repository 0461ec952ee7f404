#pragma once

// Stream calls that raise helpers::HResultCodeException instead of returning an HRESULT.

#include <cstddef>
#include <cstdint>
#include <span>

#include "mapi/mapi_interfaces.h"
#include "vek/core/source_location.h"

namespace plugins::mapi {

// Gives the new position. `origin` is one of STREAM_SEEK.
std::uint64_t Seek(IStream& stream, std::int64_t offset, DWORD origin,
                   vek::SourceLocation place = vek::SourceLocation::Here());

// One read or write: how many bytes it took, never more than there are in `bytes`. A stream that
// claims more raises vek::ResultCodeException kUnexpected.
std::size_t Read(IStream& stream, std::span<std::byte> bytes,
                 vek::SourceLocation place = vek::SourceLocation::Here());
std::size_t Write(IStream& stream, std::span<const std::byte> bytes,
                  vek::SourceLocation place = vek::SourceLocation::Here());

// Reads as often as it takes to fill `bytes`: less is given at the end of the stream alone.
std::size_t ReadFully(IStream& stream, std::span<std::byte> bytes,
                      vek::SourceLocation place = vek::SourceLocation::Here());

// In bytes.
std::uint64_t Size(IStream& stream, vek::SourceLocation place = vek::SourceLocation::Here());

void SetSize(IStream& stream, std::uint64_t size,
             vek::SourceLocation place = vek::SourceLocation::Here());

}  // namespace plugins::mapi
