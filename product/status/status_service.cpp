#include "product/status/status_service.h"

#include <optional>
#include <utility>
#include <vector>

#include "common/remoting/remote_interfaces.h"
#include "product/foreign_text.h"
#include "vek/core/border.h"
#include "vek/core/never_destroyed.h"

namespace reference_product {
namespace {

// A sender decides how long a mail's texts are.
constexpr std::size_t kLongestText = 500;  // bytes

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        if (text.size() > kLongestText) break;
        if (!text.empty()) text += "; ";
        text += line;
    }
    return Shortened(std::move(text), kLongestText);
}

}  // namespace

StatusService::StatusService(Source source, std::shared_ptr<FindHistory> finds, std::string account)
    : source_(std::move(source)), finds_(std::move(finds)), account_(std::move(account)) {}

vek::result_t StatusService::GetStatus(ProductStatus& status) noexcept {
    return vek::AtBorder([&] {
        status = source_();
        return vek::result::kOk;
    });
}

vek::result_t StatusService::GetFind(std::uint32_t number, MailFind& find) noexcept {
    return vek::AtBorder([&] {
        std::optional<MailFind> found = finds_->Get(account_, number);
        if (!found) return vek::result::kNotFound;
        find = *std::move(found);
        return vek::result::kOk;
    });
}

std::optional<MailFind> FindOf(const ScanReport& report, vek::platform::filetime_t now) {
    if (report.findings.empty()) return std::nullopt;
    std::vector<std::string> done = report.changes;
    for (const std::string& part : report.left) done.push_back(part + " left as it is");
    return MailFind{now, Shortened(report.subject, kLongestText), Joined(report.findings),
                    Joined(done)};
}

std::shared_ptr<const vek::remoting::ProxyStubFactories> ProductInterfaces() {
    struct Process {
        std::shared_ptr<const vek::remoting::ProxyStubFactories> factories =
            std::make_shared<const vek::remoting::ProxyStubFactories>(
                *plugins::remoting::RemoteInterfaces(),
                std::vector{vek::remoting::FactoryOf<IProductStatus>()});
    };
    static vek::NeverDestroyed<Process> process;
    return (*process).factories;
}

}  // namespace reference_product
