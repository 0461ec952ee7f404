#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "mapi/mapi_interfaces.h"
#include "vek/platform/clock.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {

// A MAPI property's value as the mail model holds it. Times are held as their text.
using PropertyValue = std::variant<std::string, std::u16string, std::int32_t, std::int64_t, bool,
                                   std::vector<std::byte>>;

// The local time of `utc` as yyyy/mm/dd hh:mm:ss.
std::string TimeText(vek::platform::filetime_t utc, vek::platform::Clock& clock);

// Copies a value out of MAPI's form. Raises vek::ResultCodeException kInvalidType for a type the
// mail model does not read, and for a text or binary without storage.
PropertyValue FromMapi(const SPropValue& property, vek::platform::Clock& clock);

// The bytes of a text or binary; 0 for other values.
std::uint64_t HeldBytes(const PropertyValue& value) noexcept;

}  // namespace plugins::mail_processing
