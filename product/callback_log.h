#pragma once

#include <string>
#include <string_view>

#include "product/scan_report.h"
#include "vek/core/result.h"

namespace reference_product {

// Judges what the message's operations answer and writes it into the report.
//
// An operation that is not implemented, and a thing that is not there or not offered, are no
// failures: a message need not have everything, and a plug-in need not offer it.
class CallbackLog {
public:
    // `report` must outlive the log.
    explicit CallbackLog(ScanReport& report) noexcept : report_(report) {}

    // Counts a call of `operation` on `place` (empty: the message itself) that was to read
    // something. True when it succeeded.
    bool Read(std::string_view place, std::string_view operation, vek::result_t code);
    // The same of a call that was to change something.
    bool Change(std::string_view place, std::string_view operation, vek::result_t code);

    // What failed without a failing code; `code` says why.
    void Failed(std::string_view place, std::string_view operation, vek::result_t code);

    void Found(std::string finding);
    void Changed(std::string change);
    void BytesRead(std::size_t count) noexcept { report_.bytes_read += count; }
    std::uint64_t bytes_read() const noexcept { return report_.bytes_read; }

private:
    ScanReport& report_;
};

}  // namespace reference_product
