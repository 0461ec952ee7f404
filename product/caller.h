#pragma once

#include <cstdint>
#include <string>

namespace reference_product {

// The process that services were made for, as the system knows it. What it is shown and may change
// is its account's; what is opened for it is opened in its session.
struct Caller {
    std::uint32_t process_id = 0;
    std::uint32_t session_id = 0;
    std::string account;  // a text SID; "uid:N" where accounts have none
};

// As the log names it: "process 12 of S-1-5-...".
inline std::string ToText(const Caller& caller) {
    return "process " + std::to_string(caller.process_id) + " of " + caller.account;
}

}  // namespace reference_product
