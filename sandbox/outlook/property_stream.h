#pragma once

#include <memory>

#include "sandbox/outlook/byte_stream.h"
#include "sandbox/outlook/property_holder.h"

namespace sandbox::outlook {

// The body of OpenProperty for IID_IStream: a text or a binary of `holder`, which is part of
// `owner`, as a stream that keeps `owner` alive. Written bytes show in the open object at the
// next commit.
HRESULT OpenStream(std::shared_ptr<Runtime> runtime, vek::RefPtr<IUnknown> owner,
                   PropertyHolder& holder, ULONG tag, ULONG options, ULONG flags, IUnknown** out);

}  // namespace sandbox::outlook
