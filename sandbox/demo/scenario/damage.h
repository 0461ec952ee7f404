#pragma once

// Whether a message is still what it was, but for what checks do to it.

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sandbox/outlook/mapi_subsystem.h"

namespace sandbox::demo {

// What a message holds, by place: "37001f", "2 3707001f" for the second attachment.
using Content = std::map<std::string, outlook::PropertyValue>;

// Knows what the rules make of a message, by checking copies of it in this process. Used on one
// thread, while nothing else works with the subsystem and nothing is planned to fail.
class DamageFinder {
public:
    DamageFinder(outlook::MapiSubsystem& mapi, const std::filesystem::path& rules);
    ~DamageFinder();
    DamageFinder(const DamageFinder&) = delete;
    DamageFinder& operator=(const DamageFinder&) = delete;

    // The places of `now` that are neither as in the message `name` was at first, `original`, nor
    // as some of at most `checks` checks leave them. A check that was cut off may have done a part
    // of what it does.
    std::vector<std::string> Find(const std::string& name, const outlook::MessageRecord& original,
                                  const outlook::MessageRecord& now, int checks);

private:
    class Checker;

    // What may be found in each place; nothing when it may be missing.
    using Allowed = std::map<std::string, std::vector<std::optional<outlook::PropertyValue>>>;
    struct Reachable {
        std::vector<std::vector<outlook::MessageRecord>> after;  // that many checks
        Allowed allowed;
    };
    void Extend(Reachable& reachable);

    const std::unique_ptr<Checker> checker_;
    std::map<std::string, Reachable> known_;
};

}  // namespace sandbox::demo
