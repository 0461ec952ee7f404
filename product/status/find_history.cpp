#include "product/status/find_history.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "product/settings_store.h"
#include "product/state/strict_json.h"
#include "product/state/text_file.h"
#include "vek/core/current_exception.h"

namespace reference_product {
namespace {

using nlohmann::json;

json ToJson(const MailFind& find) {
    return {
        {"time", find.time}, {"subject", find.subject}, {"found", find.found}, {"done", find.done}};
}

MailFind ToFind(const json& value) {
    RequireMembers(value, {"time", "subject", "found", "done"});
    return {RequireNumber<std::uint64_t>(value, "time"), value.at("subject").get<std::string>(),
            value.at("found").get<std::string>(), value.at("done").get<std::string>()};
}

}  // namespace

FindHistory::FindHistory(std::filesystem::path folder, Log log)
    : folder_(std::move(folder)), log_(std::move(log)) {}

// Accounts are the system's own words: a SID, or "uid:" and a number.
std::filesystem::path FindHistory::FileOf(const std::string& account) const {
    std::string name = account;
    if (name.starts_with("uid:")) name.replace(0, 4, "S-1-");
    if (!IsSid(name)) throw std::invalid_argument("'" + account + "' is no account");
    return folder_ / (name + ".json");
}

FindHistory::Finds& FindHistory::Of(const std::string& account) {
    const auto found = known_.find(account);
    if (found != known_.end()) return found->second;
    Finds finds;
    const std::filesystem::path file = FileOf(account);
    try {
        const std::optional<std::string> text = ReadTextFile(file);
        for (const json& value : json::parse(text.value_or("[]"))) finds.push_back(ToFind(value));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {  // what is left of it counts for nothing, the next find replaces it
        finds.clear();
        log_("the last finds cannot be read: " + PathText(file) + ": " +
             vek::CurrentExceptionText());
    }
    return known_.emplace(account, std::move(finds)).first->second;
}

void FindHistory::Add(const std::string& account, MailFind find) {
    const std::lock_guard guard(lock_);
    Finds& finds = Of(account);
    finds.push_front(std::move(find));
    if (finds.size() > kPerUser) finds.pop_back();
    json list = json::array();
    for (const MailFind& kept : finds) list.push_back(ToJson(kept));
    try {
        std::filesystem::create_directories(folder_);
        ReplaceTextFile(FileOf(account),
                        list.dump(1, ' ', false, json::error_handler_t::replace) + '\n');
    } catch (...) {
        log_("the last finds cannot be kept: " + vek::CurrentExceptionText());
    }
}

std::optional<MailFind> FindHistory::Get(const std::string& account, std::uint32_t number) {
    const std::lock_guard guard(lock_);
    const Finds& finds = Of(account);
    if (number >= finds.size()) return std::nullopt;
    return finds[number];
}

}  // namespace reference_product
