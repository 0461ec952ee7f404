// Texts from anywhere: conversions, entry ids, Internet headers.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "mapi/entry_id.h"
#include "model/internet_headers.h"
#include "vek/core/exception.h"
#include "vek/core/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace mail = plugins::mail_processing;
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    const std::u16string wide = vek::ToUtf16(text);
    if (vek::ToUtf16(vek::ToUtf8(wide)) != wide) std::abort();
    if (plugins::mapi::EntryIdFromHex(wide).size() != wide.size() / 2) std::abort();

    std::u16string units;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        units.push_back(static_cast<char16_t>(data[i] << 8 | data[i + 1]));
    }
    const auto strict = vek::ToUtf8Strict(units);
    if (strict && vek::ToUtf16(*strict) != units) std::abort();
    if (vek::ToUtf8(units).size() > 3 * units.size()) std::abort();

    // The first line is the header, the rest the headers it goes into.
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return 0;
    const std::string_view line = text.substr(0, end);
    const std::string_view headers = text.substr(end + 1);
    try {
        const std::string name(line.substr(0, line.find(':')));
        const std::string replaced = mail::ReplaceHeader(headers, line);
        const std::string_view kept(replaced.data(), replaced.size() - line.size());
        if (kept.find(name) != std::string_view::npos) std::abort();
    } catch (const vek::CheckFailedException&) {
    }
    return 0;
}
