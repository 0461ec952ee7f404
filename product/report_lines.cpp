#include "product/report_lines.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "product/state/text_file.h"

namespace reference_product {

using nlohmann::json;

std::string ToReportLine(const NumberedReport& numbered) {
    const ScanReport& report = numbered.report;
    json failures = json::array();
    for (const ScanFailure& failure : report.failures)
        failures.push_back({{"operation", failure.operation}, {"code", failure.code}});
    const json line{{"number", numbered.number},
                    {"incoming", report.incoming},
                    {"summary", report.summary},
                    {"result", report.result},
                    {"infected", report.infected},
                    {"known_clean", report.known_clean},
                    {"findings", report.findings},
                    {"changes", report.changes},
                    {"failures", failures},
                    {"not_offered", report.not_offered},
                    {"not_checked", report.not_checked},
                    {"left", report.left},
                    {"callbacks", report.callbacks},
                    {"bytes_read", report.bytes_read},
                    {"time_us", report.time.count()}};
    return line.dump(-1, ' ', true, json::error_handler_t::replace) + '\n';
}

NumberedReport ParseReportLine(std::string_view line) {
    const json value = json::parse(line);
    NumberedReport numbered;
    ScanReport& report = numbered.report;
    value.at("number").get_to(numbered.number);
    value.at("incoming").get_to(report.incoming);
    value.at("summary").get_to(report.summary);
    value.at("result").get_to(report.result);
    value.at("infected").get_to(report.infected);
    value.at("known_clean").get_to(report.known_clean);
    value.at("findings").get_to(report.findings);
    value.at("changes").get_to(report.changes);
    for (const json& failure : value.at("failures"))
        report.failures.push_back({failure.at("operation"), failure.at("code")});
    value.at("not_offered").get_to(report.not_offered);
    value.at("not_checked").get_to(report.not_checked);
    value.at("left").get_to(report.left);
    value.at("callbacks").get_to(report.callbacks);
    value.at("bytes_read").get_to(report.bytes_read);
    report.time = std::chrono::microseconds(value.at("time_us").get<std::int64_t>());
    return numbered;
}

ReportWriter::ReportWriter(const std::filesystem::path& file) : file_(file) { file_.BeginAnew(); }

std::uint32_t ReportWriter::Write(ScanReport report) {
    const std::lock_guard guard(lock_);
    if (!file_.Append(ToReportLine({written_ + 1, std::move(report)})))
        throw std::runtime_error("a report cannot be written");
    return ++written_;
}

ReportReader::ReportReader(std::filesystem::path file) : file_(std::move(file)) {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file_, error);
    if (!error) position_ = size;
}

std::optional<NumberedReport> ReportReader::Next() {
    // A product that was started again begins its file anew.
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file_, error);
    if (error || size == position_) return std::nullopt;
    if (size < position_) position_ = 0;

    std::ifstream file(file_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(position_));
    std::string line;
    if (!std::getline(file, line) || file.eof()) return std::nullopt;
    position_ += line.size() + 1;
    return ParseReportLine(line);
}

}  // namespace reference_product
