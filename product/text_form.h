#pragma once

// New texts made from old ones by a form: "[checked] {subject}".

#include <span>
#include <string>
#include <string_view>

namespace reference_product {

// A decimal digit of ASCII, whatever the locale.
inline bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

// A text with a place for the old text, the first `placeholder` in it. Without one, it is the new
// text itself. Views only.
template <class Char>
class TextForm {
public:
    using View = std::basic_string_view<Char>;

    TextForm(View form, View placeholder) {
        const auto place = form.find(placeholder);
        fixed_ = place == View::npos;
        before_ = form.substr(0, place);
        if (!fixed_) after_ = form.substr(place + placeholder.size());
    }

    // The old text, if `text` has the form; else `text`.
    View Peel(View text) const {
        const bool has_form = !fixed_ && text.size() >= before_.size() + after_.size() &&
                              text.starts_with(before_) && text.ends_with(after_);
        if (!has_form) return text;
        return text.substr(before_.size(), text.size() - before_.size() - after_.size());
    }

    std::basic_string<Char> Fill(View text) const {
        std::basic_string<Char> filled(before_);
        if (!fixed_) filled.append(text).append(after_);
        return filled;
    }

private:
    View before_;
    View after_;
    bool fixed_ = false;
};

// Puts `text` into the forms, one after the other. A message is checked again each time it is
// read: what an earlier check put there comes off first, so that texts do not grow.
template <class Char>
std::basic_string<Char> Refill(std::span<const std::basic_string<Char>> forms,
                               std::basic_string_view<Char> placeholder,
                               std::basic_string_view<Char> text) {
    for (auto form = forms.rbegin(); form != forms.rend(); ++form) {
        text = TextForm<Char>(*form, placeholder).Peel(text);
    }
    std::basic_string<Char> filled(text);
    for (const auto& form : forms) filled = TextForm<Char>(form, placeholder).Fill(filled);
    return filled;
}

}  // namespace reference_product
