#pragma once

// The product's texts and resources, in the language of its user interface.

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>

#include "vek/core/object.h"

namespace plugins::product {

// One text as the product keeps it. A record of the process border, as those of product_settings.h.
struct LocalizationPair {
    static constexpr std::uint32_t kTypeId = 0x1FD27B93;

    std::string resourceName;  // the key
    std::string utf8Value;

    static constexpr auto kFields =
        std::make_tuple(&LocalizationPair::resourceName, &LocalizationPair::utf8Value);

    bool operator==(const LocalizationPair&) const = default;
};

// The one kind of text and resource that the plug-in asks for.
inline constexpr std::uint32_t kDefaultResourceKind = 1;

// The product's localization and resource service. Its operations may be called from any thread,
// block until the product has answered, and return a result code without raising. On failure the
// out parameters are left as they were. Texts are UTF-8.
struct ILocalization : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x5D0C38E4;

    // The text of `key`; kNotFound for a key that the product does not have. `kind` is
    // kDefaultResourceKind.
    virtual vek::result_t GetText(std::uint32_t kind, std::string_view key,
                                  std::string& text) noexcept = 0;
    // The full path of the file with the resource at `relative_path` ("mail\main1.ico"), which the
    // caller may read; kNotFound when there is none. `kind` is kDefaultResourceKind.
    virtual vek::result_t ResolveResource(std::uint32_t kind, std::string_view relative_path,
                                          std::string& path) noexcept = 0;
    // Whether the language reads from right to left.
    virtual vek::result_t IsRightToLeft(bool& right_to_left) noexcept = 0;

protected:
    ~ILocalization() = default;
};

}  // namespace plugins::product
