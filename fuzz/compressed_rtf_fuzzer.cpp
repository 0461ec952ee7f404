// Compressed RTF from anywhere, and the way there and back of any text.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "sandbox/outlook/compressed_rtf.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace sandbox::outlook;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        UncompressRtf(std::as_bytes(std::span(text)));
    } catch (const BadCompressedRtf&) {
    }
    if (UncompressRtf(CompressRtf(text)) != text) std::abort();
    return 0;
}
