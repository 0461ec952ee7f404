#pragma once

#include <cstdint>
#include <string_view>

namespace plugins::mail_processing {

// Major versions of Outlook that are treated in their own way.
namespace major_version {
inline constexpr std::int32_t kOutlook2007 = 12;
inline constexpr std::int32_t kOutlook2010 = 14;
inline constexpr std::int32_t kOutlook2013 = 15;
}  // namespace major_version

// The number before the first dot; 0 when there is none.
std::int32_t MajorVersion(std::u16string_view version) noexcept;

}  // namespace plugins::mail_processing
