#pragma once

#include <cstdint>
#include <string_view>

#include "mapi/mapi_interfaces.h"
#include "mapi/ole_functions.h"
#include "model/properties_accessor.h"

namespace plugins::mail_processing {

// The size of the pieces in which a body of `size` bytes is copied.
std::uint32_t NoticeChunkSize(std::uint64_t size) noexcept;

// Puts `notice` near the end of the body `tag`, which is replaced as a whole; a body that already
// ends with the notice is left as it is and fails. Raises helpers::HResultCodeException and
// vek::CheckFailedException; nothing is committed then.
void InsertNotice(const mapi::OleFunctions& ole, PropertiesAccessor& message, ULONG tag,
                  std::string_view notice);

}  // namespace plugins::mail_processing
