#pragma once

// Stream calls that raise helpers::HResultCodeException instead of returning an HRESULT.

#include <cstdint>

#include "mapi/mapi_interfaces.h"
#include "vek/core/source_place.h"

namespace plugins::mapi {

// Gives the new position. `origin` is one of STREAM_SEEK.
std::uint64_t Seek(IStream& stream, std::int64_t offset, DWORD origin,
                   vek::SourcePlace place = vek::SourcePlace::Here());

// In bytes.
std::uint64_t Size(IStream& stream, vek::SourcePlace place = vek::SourcePlace::Here());

void SetSize(IStream& stream, std::uint64_t size,
             vek::SourcePlace place = vek::SourcePlace::Here());

}  // namespace plugins::mapi
