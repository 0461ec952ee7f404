#pragma once

// Stream calls that raise helpers::HResultCodeException instead of returning an HRESULT. Called on
// the thread that the stream belongs to.

#include <cstddef>
#include <cstdint>
#include <span>

#include "mapi/mapi_interfaces.h"
#include "vek/core/source_location.h"

namespace plugins::mapi {

// Moves to `offset` bytes from `origin` (STREAM_SEEK_...) and returns the new position.
std::uint64_t Seek(IStream& stream, std::int64_t offset, DWORD origin,
                   vek::SourceLocation place = vek::SourceLocation::Here());

// Make one call and return how many bytes it moved, at most those of `bytes`. A stream that claims
// more raises vek::ResultCodeException kUnexpected.
std::size_t Read(IStream& stream, std::span<std::byte> bytes,
                 vek::SourceLocation place = vek::SourceLocation::Here());
std::size_t Write(IStream& stream, std::span<const std::byte> bytes,
                  vek::SourceLocation place = vek::SourceLocation::Here());

// Reads until `bytes` is full or the stream ends, and returns the number of bytes.
std::size_t ReadFully(IStream& stream, std::span<std::byte> bytes,
                      vek::SourceLocation place = vek::SourceLocation::Here());

// The size in bytes, as the stream states it.
std::uint64_t Size(IStream& stream, vek::SourceLocation place = vek::SourceLocation::Here());

void SetSize(IStream& stream, std::uint64_t size,
             vek::SourceLocation place = vek::SourceLocation::Here());

}  // namespace plugins::mapi
