#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sandbox/outlook/mapi_subsystem.h"

namespace sandbox::demo {

// The properties of a message by place: "37001F", "attachment 2 3707001F" for an attachment's.
using Content = std::map<std::string, outlook::PropertyValue>;

// Finds changes to a message that no check has made: learns what rules and engine make of it by
// checking copies in this process. Used on one thread, while nothing else works with the subsystem
// and no call is planned to fail.
class DamageFinder {
public:
    // The engine is that in the settings of the product in the folder `product`, if there is one.
    DamageFinder(outlook::MapiSubsystem& mapi, const std::filesystem::path& rules,
                 const std::filesystem::path& product);
    ~DamageFinder();
    DamageFinder(const DamageFinder&) = delete;
    DamageFinder& operator=(const DamageFinder&) = delete;

    // Gives the places of `now` that are neither as in the message `name` was at first, `original`,
    // nor as some of at most `checks` checks leave them. A check that was cut off may have done a
    // part of what it does.
    std::vector<std::string> Find(const std::string& name, const outlook::MessageRecord& original,
                                  const outlook::MessageRecord& now, int checks);

private:
    class Checker;

    // The values that each place may have; nullopt when it may be missing.
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
