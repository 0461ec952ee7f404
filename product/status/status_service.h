#pragma once

#include <functional>
#include <memory>
#include <string>

#include "product/scan_report.h"
#include "product/status/find_history.h"
#include "product/status/product_status.h"
#include "vek/core/object.h"

namespace reference_product {

// The status service as one user sees it. Any thread may call it.
class StatusService final : public vek::ObjectImpl<IProductStatus> {
public:
    // Gives the status now; any thread may call it. What it raises becomes the call's result.
    using Source = std::function<ProductStatus()>;

    StatusService(Source source, std::shared_ptr<FindHistory> finds, std::string account);

    vek::result_t GetStatus(ProductStatus& status) noexcept override;
    vek::result_t GetFind(std::uint32_t number, MailFind& find) noexcept override;

private:
    const Source source_;
    const std::shared_ptr<FindHistory> finds_;
    const std::string account_;
};

// What a check's report is for the history; nothing when nothing was found.
std::optional<MailFind> FindOf(const ScanReport& report, vek::platform::filetime_t now);

}  // namespace reference_product
