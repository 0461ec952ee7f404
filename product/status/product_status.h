#pragma once

// What the product tells its own settings window. Records and methods cross the border between the
// two programs as those of the plug-in's services do; both are of one product, installed together.

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>

#include "vek/core/object.h"
#include "vek/platform/calendar.h"
#include "vek/remoting/describe.h"

namespace reference_product {

// Whether mail is checked, and why not.
enum class Protection : std::uint32_t {
    kOn = 0,
    kOff = 1,          // switched off in the product's settings
    kOffByPolicy = 2,  // an administrator's policy has switched it off
    kNoEngine = 3,     // no engine can check: `trouble` says why
};

struct ProductStatus {
    static constexpr std::uint32_t kTypeId = 0x2D91B7A3;

    Protection protection = Protection::kOn;
    std::string trouble;     // of the engine, in English; empty when there is none
    std::string engine;      // its name and version
    std::string signatures;  // the version of what it looks for

    static constexpr auto kFields =
        std::make_tuple(&ProductStatus::protection, &ProductStatus::trouble, &ProductStatus::engine,
                        &ProductStatus::signatures);

    bool operator==(const ProductStatus&) const = default;
};

// Something that was found in a user's mail. Texts are UTF-8.
struct MailFind {
    static constexpr std::uint32_t kTypeId = 0x7EC41F06;

    vek::platform::filetime_t time = 0;  // UTC
    std::string subject;
    std::string found;
    std::string done;  // empty when nothing could be done

    static constexpr auto kFields =
        std::make_tuple(&MailFind::time, &MailFind::subject, &MailFind::found, &MailFind::done);

    bool operator==(const MailFind&) const = default;
};

// The status service; each user is told of his own mail. Both operations may be called from any
// thread, block until the product has answered, and return a result code without raising.
struct IProductStatus : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x91C2E85D;

    virtual vek::result_t GetStatus(ProductStatus& status) noexcept = 0;
    // The caller's finds, the newest is number 0; kNotFound after the last.
    virtual vek::result_t GetFind(std::uint32_t number, MailFind& find) noexcept = 0;

protected:
    ~IProductStatus() = default;
};

// Every interface that the product serves: to the plug-in and to its own programs. Immutable, one
// for the process.
std::shared_ptr<const vek::remoting::ProxyStubFactories> ProductInterfaces();

}  // namespace reference_product

namespace vek::remoting {

// One method a line, as the formatter would not have it.
// clang-format off

VEK_REMOTE_INTERFACE(reference_product::IProductStatus,
                     (GetStatus, method_attribute::kNone),
                     (GetFind, method_attribute::kNone))

// clang-format on

}  // namespace vek::remoting
