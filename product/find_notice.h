#pragma once

// What a message says about what was found in it.

#include <string>
#include <string_view>
#include <vector>

#include "product/notice_texts.h"

namespace reference_product {

// What has become of a dangerous attachment.
struct DangerousAttachment {
    enum class Fate { kLeft, kDeleted, kReplaced };

    std::string name;
    std::string find;
    Fate fate = Fate::kLeft;
};

// Gives the notice for a message's bodies, and the order in which these lines stand: what is still
// dangerous comes first, so that a later check, which finds that alone, does not add it again. Of
// these and of what is gone, at most ten lines each, and one that counts the others. `body_find` is
// empty when the bodies are harmless.
//
// It stands in HTML as it is, and in a plain body too: our own letters beyond ASCII, and those of
// a find, become character references. Names keep their bytes, which have the code page of the
// bodies, but for those that mean something in HTML and those that, as ASCII or UTF-8, begin
// another line or turn the order of letters: in another code page a letter may be lost by that.
std::string FindNotice(const NoticeTexts& texts, std::string_view body_find,
                       std::vector<DangerousAttachment> attachments);

// The text with character references for all but ASCII: as a body takes it whatever its code page.
std::string WithReferences(std::string_view text);

// Gives the content that is put in place of a dangerous one: UTF-8, and marked as such if need be.
// A find does nothing in it, whatever program opens the file by its name.
std::string FindReplacement(const NoticeTexts& texts, std::string_view find);

}  // namespace reference_product
