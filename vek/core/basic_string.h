#pragma once

// The framework's owned string. It adds to the standard string the two ways of growing that the
// framework builds texts with, and length errors that name the operation.

#include <stdexcept>
#include <string>
#include <string_view>

namespace vek {

template <class Char>
class basic_string_t {
public:
    using view_t = std::basic_string_view<Char>;

    basic_string_t() = default;

    // Raises std::length_error "vek::basic_string_t constructor" beyond max_size().
    basic_string_t(const Char* text, std::size_t length);
    basic_string_t(std::size_t length, Char fill);
    explicit basic_string_t(view_t text) : basic_string_t(text.data(), text.size()) {}

    // Makes room for `extra` more characters. Raises std::length_error
    // "vek::basic_string_t::reserve_extra()" beyond max_size().
    void reserve_extra(std::size_t extra);

    // Opens a gap of `extra` zero characters before `position`, which is at most size(), and
    // returns its first character. Raises std::length_error
    // "vek::basic_string_t::resize_extra_at" beyond max_size() or for a position outside.
    Char* resize_extra_at(std::size_t position, std::size_t extra);

    basic_string_t& append(view_t text);

    view_t view() const noexcept { return text_; }
    const Char* c_str() const noexcept { return text_.c_str(); }
    std::size_t size() const noexcept { return text_.size(); }
    std::size_t capacity() const noexcept { return text_.capacity(); }
    std::size_t max_size() const noexcept { return text_.max_size(); }
    bool empty() const noexcept { return text_.empty(); }

    friend bool operator==(const basic_string_t&, const basic_string_t&) = default;

private:
    std::basic_string<Char> text_;
};

using string_t = basic_string_t<char>;
using wide_string_t = basic_string_t<char16_t>;

}  // namespace vek
