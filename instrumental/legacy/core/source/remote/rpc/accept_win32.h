#pragma once

#include <cstdint>
#include <string>

#include "vek/core/result.h"

namespace remote {

// What a client says of itself in connecting.
struct Caller {
    std::string listener;  // whom it wants, as TextOf(Endpoint) writes it
    std::uint32_t process_id;
    std::string endpoint;  // where it can be called, and under what
    std::uint64_t token;
};

// Lets a listener of this process decide. `token` is what the caller is to call under. kNotReady
// when there is no such listener, kAccessDenied when it does not want the caller.
vek::result_t TakeIn(const Caller& caller, std::uint64_t& token);

}  // namespace remote
