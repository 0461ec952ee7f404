#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "product/product_log.h"
#include "product/status/product_status.h"

namespace reference_product {

// The last finds of each user, kept in files so that they outlive the process. They hold subjects
// of mail: their folder is one that users do not read. Any thread may call it.
class FindHistory {
public:
    // Of each user the newest are kept.
    static constexpr std::size_t kPerUser = 50;

    FindHistory(std::filesystem::path folder, Log log);

    // Keeps it as the newest of `account`. Where it cannot be written it is lost when the process
    // ends, and the log is told. Raises for want of memory, and std::invalid_argument for what is
    // no account.
    void Add(const std::string& account, MailFind find);

    // The newest is number 0; nothing after the last. Raises as Add does.
    std::optional<MailFind> Get(const std::string& account, std::uint32_t number);

private:
    using Finds = std::deque<MailFind>;  // the newest first

    Finds& Of(const std::string& account);
    std::filesystem::path FileOf(const std::string& account) const;

    const std::filesystem::path folder_;
    const Log log_;
    std::mutex lock_;                     // guards what follows, and the files
    std::map<std::string, Finds> known_;  // of each account that was asked for
};

}  // namespace reference_product
