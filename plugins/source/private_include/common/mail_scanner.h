#pragma once

#include <cstdint>

#include "private_include/common/mail_message.h"
#include "vek/core/object.h"

namespace plugins::mail_processing {

// The product's mail_scanner service.
struct IMailScanner : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x492B374D;

    // Checks one message, which lives in the process `process_id`: the scanner reads and rewrites
    // it through `message` until the call returns, and does not hand its verdict back. `incoming`
    // is true for received and read mail and false for mail being sent. Blocks for as long as
    // the scanner works.
    virtual vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                                       IMailMessage* message) = 0;

protected:
    ~IMailScanner() = default;
};

}  // namespace plugins::mail_processing
