#pragma once

#include <string>
#include <string_view>

#include "product/scan_report.h"
#include "vek/core/result.h"

namespace reference_product {

// Tells whether a code says that a message lacks what was asked for.
bool IsMissing(vek::result_t code) noexcept;

// Judges the results of the message's operations and writes them into the report. For one thread.
//
// "Not implemented", "not found" and "not supported" are no failures: a message need not have
// everything, and a plug-in need not offer it.
class CallbackLog {
public:
    // `report` must outlive the log.
    explicit CallbackLog(ScanReport& report) noexcept : report_(report) {}

    // Notes the result of a call that reads. `label` names the part of the message in the report;
    // empty is the message itself. True when the call succeeded.
    bool Read(std::string_view label, std::string_view operation, vek::result_t code);
    // Notes the result of a call that changes something. True when the call succeeded.
    bool Change(std::string_view label, std::string_view operation, vek::result_t code);

    // Notes a failure that the operation's own result did not tell; `code` says why.
    void Failed(std::string_view label, std::string_view operation, vek::result_t code);

    void Found(std::string finding);
    void Changed(std::string change);
    void NotChecked(std::string_view label, std::string_view why);
    void Left(std::string_view label);

    // Takes back the failures since there were `count` of them: another way succeeded.
    void Forgive(std::size_t count);
    // Tells whether one of these may have been carried out all the same: the connection was lost.
    bool IsInDoubt(std::size_t count) const noexcept;
    std::size_t failures() const noexcept { return report_.failures.size(); }
    void BytesRead(std::size_t count) noexcept { report_.bytes_read += count; }
    std::uint64_t bytes_read() const noexcept { return report_.bytes_read; }

private:
    ScanReport& report_;
};

}  // namespace reference_product
