#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>

#include "product/kept_store.h"
#include "product/process/product_process.h"
#include "product/state/text_file.h"

namespace reference_product {
namespace {

// A text as JSON writes it, in ASCII: nothing in it has a meaning for a terminal.
std::string Quoted(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

void Print(const KeptItem& item, std::ostream& out) {
    auto& clock = vek::platform::TheClock();
    std::string time;
    vek::platform::AppendDateAndTime(time, vek::platform::ToCalendar(clock.ToLocal(item.time)));
    out << item.id << "  " << time << "  " << item.size << " bytes  " << Quoted(item.name) << " of "
        << Quoted(item.subject) << ", " << item.reason
        << (item.account.empty() ? "" : ", " + item.account) << '\n';
}

}  // namespace

ExitCode RunKeptCommand(const ProductOptions& options, std::ostream& out) {
    if (options.restored != 0) {
        out << PathText(RestoreKept(options.kept, options.restored, options.to)) << '\n';
        return ExitCode::kStopped;
    }
    for (const KeptItem& item : ListKept(options.kept)) Print(item, out);
    return ExitCode::kStopped;
}

}  // namespace reference_product
