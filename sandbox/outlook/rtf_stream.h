#pragma once

#include <memory>

#include "sandbox/outlook/byte_stream.h"

namespace sandbox::outlook {

// The body of WrapCompressedRTFStream: the RTF in `compressed`, which must be readable. With
// MAPI_MODIFY in `flags` written text goes back, compressed, at each commit.
HRESULT WrapRtfStream(std::shared_ptr<Runtime> runtime, IStream* compressed, ULONG flags,
                      IStream** plain);

}  // namespace sandbox::outlook
