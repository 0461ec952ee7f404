#pragma once

#include <cstdint>
#include <string_view>

#include "mapi/mapi_functions.h"
#include "mapi/mapi_interfaces.h"
#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// The size of the pieces in which a body of `size` bytes is copied.
std::uint32_t NoticeChunkSize(std::uint64_t size) noexcept;

// Inserts `notice` near the end of the body `tag` by replacing the body as a whole, and marks the
// message as changed. Raises vek::CheckFailedException for an empty body, for one that ends with
// the notice already and for a stream that contradicts itself, vek::ResultCodeException
// kNotSupported for one that may lose characters and kInsufficientResources for one beyond the
// check's budget, and helpers::HResultCodeException when MAPI
// fails; the body is then as it was. Called on the thread that owns the message.
void InsertNotice(const mapi::MapiFunctions& functions, PropertiesAccessor& message, ULONG tag,
                  std::string_view notice, const vek::trace::TracerPtr& tracer);

}  // namespace plugins::mail_processing
