#pragma once

// Compressed RTF, the form in which a MAPI store keeps the rich body (Microsoft's published
// "Rich Text Format (RTF) Compression Algorithm", MS-OXRTFCP).

#include <cstddef>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace sandbox::outlook {

// Raised for bytes that are not compressed RTF.
class BadCompressedRtf : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Both forms, compressed ("LZFu") and stored ("MELA"), are read. Raises BadCompressedRtf. The
// result is never larger than eighteen times the input.
std::string UncompressRtf(std::span<const std::byte> compressed);

std::vector<std::byte> CompressRtf(std::string_view rtf);

}  // namespace sandbox::outlook
