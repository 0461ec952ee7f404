#include "vek/platform/ansi_text.h"

#include <iconv.h>

#include <array>
#include <cerrno>

#include "vek/core/text.h"

namespace vek::platform {
namespace {

const char* const kUtf16 = "UTF-16LE";

std::string NameOf(code_page_t page) { return "CP" + std::to_string(page); }

class Converter {
public:
    Converter(const std::string& to, const std::string& from)
        : converter_(::iconv_open(to.c_str(), from.c_str())) {}
    ~Converter() {
        if (is_known()) ::iconv_close(converter_);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool is_known() const noexcept { return converter_ != reinterpret_cast<iconv_t>(-1); }

    // Converts all of the bytes, and calls `take` with each piece. False when that cannot be done
    // without a loss.
    template <class Take>
    bool Convert(std::string_view bytes, Take take) {
        char* in = const_cast<char*>(bytes.data());  // is only read
        std::size_t left = bytes.size();
        for (;;) {
            std::array<char, 4096> piece;
            char* out = piece.data();
            std::size_t room = piece.size();
            const std::size_t lost = ::iconv(converter_, &in, &left, &out, &room);
            take(std::string_view(piece.data(), piece.size() - room));
            if (lost == 0) return true;
            if (lost != static_cast<std::size_t>(-1) || errno != E2BIG) return false;
        }
    }

private:
    const iconv_t converter_;
};

}  // namespace

std::string AnsiToUtf8(std::string_view text) { return std::string(text); }

std::string Utf8ToAnsi(std::string_view text) { return std::string(text); }

bool HasEverything(code_page_t page) noexcept {
    return page == kAnsiCodePage || page == kUtf8CodePage;
}

bool native::HasAllOfPiece(code_page_t page, std::u16string_view text) {
    Converter converter(NameOf(page), kUtf16);
    const std::string_view bytes(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    return converter.is_known() && converter.Convert(bytes, [](std::string_view) {});
}

std::optional<std::u16string> FromCodePage(code_page_t page, std::string_view bytes) {
    if (HasEverything(page)) return ToUtf16(bytes);
    Converter converter(kUtf16, NameOf(page));
    std::u16string text;
    const auto take = [&text](std::string_view piece) {
        text.append(reinterpret_cast<const char16_t*>(piece.data()), piece.size() / 2);
    };
    if (!converter.is_known() || !converter.Convert(bytes, take)) return std::nullopt;
    return text;
}

}  // namespace vek::platform
