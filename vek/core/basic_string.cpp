#include "vek/core/basic_string.h"

namespace vek {
namespace {

constexpr const char* kConstructor = "vek::basic_string_t constructor";
constexpr const char* kReserveExtra = "vek::basic_string_t::reserve_extra()";
constexpr const char* kResizeExtraAt = "vek::basic_string_t::resize_extra_at";

// Passes `length` on, so that it can be checked before the standard string sees it.
std::size_t Checked(std::size_t length, std::size_t limit, const char* operation) {
    if (length > limit) throw std::length_error(operation);
    return length;
}

template <class Char>
std::size_t MaxSize() noexcept {
    return std::basic_string<Char>().max_size();
}

}  // namespace

template <class Char>
basic_string_t<Char>::basic_string_t(const Char* text, std::size_t length)
    : text_(text, Checked(length, MaxSize<Char>(), kConstructor)) {}

template <class Char>
basic_string_t<Char>::basic_string_t(std::size_t length, Char fill)
    : text_(Checked(length, MaxSize<Char>(), kConstructor), fill) {}

template <class Char>
void basic_string_t<Char>::reserve_extra(std::size_t extra) {
    text_.reserve(size() + Checked(extra, max_size() - size(), kReserveExtra));
}

template <class Char>
Char* basic_string_t<Char>::resize_extra_at(std::size_t position, std::size_t extra) {
    Checked(position, size(), kResizeExtraAt);
    text_.insert(position, Checked(extra, max_size() - size(), kResizeExtraAt), Char());
    return text_.data() + position;
}

template <class Char>
basic_string_t<Char>& basic_string_t<Char>::append(view_t text) {
    Checked(text.size(), max_size() - size(), kReserveExtra);
    text_.append(text);
    return *this;
}

template class basic_string_t<char>;
template class basic_string_t<char16_t>;

}  // namespace vek
