#pragma once

#include <cstdint>
#include <string_view>

#include "vek/core/object.h"

namespace plugins::product {

// What a product may offer beside its other services, to learn in which language its caller reads.
struct IUserLanguage : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x3B5ED094;

    // Says in which languages the caller's user wants to read, the most wanted first: BCP 47 tags
    // with ';' between ("de-AT;en-US"), not longer than kLongestUserLanguages. Texts that the
    // product gives on this connection from then on, and notices in this caller's mail, are in the
    // first of them that it has. It is called once on each connection, before any text is asked
    // for, and has a third of the time that connecting has. Any thread may call it; returns a
    // result code and never raises: kInvalidArgument for a longer text.
    virtual vek::result_t SetUserLanguages(std::string_view languages) noexcept = 0;

protected:
    ~IUserLanguage() = default;
};

inline constexpr std::size_t kLongestUserLanguages = 256;  // bytes

}  // namespace plugins::product
