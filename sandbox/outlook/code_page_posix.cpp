#include <iconv.h>

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>

#include "sandbox/outlook/code_page.h"
#include "vek/core/text.h"

namespace sandbox::outlook {
namespace {

// The letters that stand for those from U+00C0 on in a page without them. Page 932 knows those of
// the first line.
constexpr char32_t kFirstLetter = 0xC0;
constexpr std::string_view kLetters =
    "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYTsaaaaaaaceeeeiiiidnooooo?ouuuuyty"
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIi??JjKk?LlLlLl?"
    "?LlNnNnNn???OoOoOoOoRrRrRrSsSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZz?";

char BestFit(char32_t missing, unsigned code_page) {
    constexpr char32_t kFullWidth = 0xFF01 - '!';
    if (missing > kFullWidth + ' ' && missing <= kFullWidth + '~')
        return static_cast<char>(missing - kFullWidth);
    const std::string_view letters = kLetters.substr(0, code_page == 932 ? 64 : kLetters.npos);
    if (missing >= kFirstLetter && missing < kFirstLetter + letters.size())
        return letters[missing - kFirstLetter];
    return '?';
}

class Converter {
public:
    Converter(const std::string& to, const std::string& from)
        : converter_(iconv_open(to.c_str(), from.c_str())) {
        if (converter_ == reinterpret_cast<iconv_t>(-1))
            throw std::runtime_error("the system cannot convert " + from + " to " + to);
    }
    ~Converter() { iconv_close(converter_); }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    // Appends the text to `out` as far as it can be converted, and gives the rest.
    std::string_view Convert(std::string_view text, std::string& out) {
        char* in = const_cast<char*>(text.data());  // is only read
        std::size_t left = text.size();
        for (;;) {
            std::array<char, 4096> piece;
            char* end = piece.data();
            std::size_t room = piece.size();
            const std::size_t result = iconv(converter_, &in, &left, &end, &room);
            const int error = result == static_cast<std::size_t>(-1) ? errno : 0;
            out.append(piece.data(), end);
            if (error != E2BIG) return text.substr(text.size() - left);
        }
    }

private:
    const iconv_t converter_;
};

std::string PageName(unsigned code_page) { return "CP" + std::to_string(code_page); }

}  // namespace

std::string Encode(std::string_view utf8, unsigned code_page) {
    Converter converter(PageName(code_page), "UTF-8");
    std::string narrow;
    while (!(utf8 = converter.Convert(utf8, narrow)).empty()) {
        const vek::Decoded missing = vek::DecodeUtf8(utf8);
        narrow += BestFit(missing.code_point, code_page);
        utf8.remove_prefix(missing.length);
    }
    return narrow;
}

std::string Decode(std::string_view narrow, unsigned code_page) {
    constexpr std::string_view kMeaningless = "\uFFFD";
    Converter converter("UTF-8", PageName(code_page));
    std::string utf8;
    while (!(narrow = converter.Convert(narrow, utf8)).empty()) {
        utf8 += kMeaningless;
        narrow.remove_prefix(1);
    }
    return utf8;
}

}  // namespace sandbox::outlook
