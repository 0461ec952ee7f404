#pragma once

// The texts of the notices about finds, which a scanner puts into mail.

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace reference_product {

// UTF-8, in one language; these are the English ones. {0} and {1} stand for what Fill puts there.
struct NoticeTexts {
    // {0} is the attachment's name, {1} what was found in it.
    std::string replaced = "The attachment \"{0}\" was dangerous ({1}) and was replaced.";
    std::string deleted = "The attachment \"{0}\" was dangerous ({1}) and was deleted.";
    std::string left =
        "The attachment \"{0}\" is dangerous ({1}) and could not be removed. Do not open it.";
    // {0} is what was found.
    std::string body = "The text of this message is dangerous ({0}).";
    // The content that an attachment gets instead; {0} is what was found in the old one.
    std::string replacement = "This attachment was dangerous ({0}) and was removed.\r\n";
    // {0} is the number of attachments of which a notice does not tell.
    std::string more = "And {0} more.";
};

// Gives the texts in the language of a mail's user; without it English.
using NoticeSource = std::function<NoticeTexts()>;

// Puts the values into `text` in place of {0} and {1}. What a value holds is never a place itself.
inline std::string Fill(std::string_view text, std::string_view first,
                        std::string_view second = {}) {
    const std::array values = {first, second};
    std::string filled;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const std::string_view place = text.substr(at, 3);
        if (place == "{0}" || place == "{1}") {
            filled += values[static_cast<std::size_t>(place[1] - '0')];
            at += 2;
        } else {
            filled += text[at];
        }
    }
    return filled;
}

}  // namespace reference_product
