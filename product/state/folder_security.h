#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace reference_product {

// One entry of an access control list. SIDs are texts.
struct AccessEntry {
    enum class Kind { kAllow, kDeny, kOther };
    Kind kind;
    bool is_for_children;  // and not for the file itself (INHERIT_ONLY_ACE)
    std::uint32_t rights;  // ACCESS_MASK
    std::string account;
};

// Whose a file or folder is, and who may do what with it.
struct FileSecurity {
    bool is_link = false;  // a reparse point
    std::string owner;
    std::optional<std::vector<AccessEntry>> entries;  // without a list everybody may do everything
};

// What others than the system, its administrators and the service may do.
enum class Openness {
    kPassage,   // add to the folder; not remove or replace what is there
    kReadable,  // read
    kPrivate,   // nothing
};

// Says what is wrong with a file or folder that the service `account` is to rely on, for people;
// empty when it belongs to the service, the system or its administrators, and is no more open than
// that. What an entry denies is not counted on.
std::string FaultOf(const FileSecurity& security, Openness openness, const std::string& account);

}  // namespace reference_product
