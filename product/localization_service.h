#pragma once

#include <filesystem>
#include <vector>

#include "private_include/common/localization.h"
#include "product/edited_file.h"
#include "vek/core/object.h"

namespace reference_product {

// Serves the texts of a file like texts.json and the files of a resource folder. A path that leads
// out of the folder gives kInvalidArgument, a missing texts file kNotFound, a malformed one
// kInvalidType. Any thread may call it.
class LocalizationService final : public vek::ObjectImpl<plugins::product::ILocalization> {
public:
    LocalizationService(std::filesystem::path texts, std::filesystem::path resources, Log log);

    vek::result_t GetText(std::uint32_t kind, std::string_view key,
                          std::string& text) noexcept override;
    vek::result_t ResolveResource(std::uint32_t kind, std::string_view relative_path,
                                  std::string& path) noexcept override;
    vek::result_t IsRightToLeft(bool& right_to_left) noexcept override;

private:
    struct Texts {
        bool right_to_left = false;
        std::vector<plugins::product::LocalizationPair> pairs;  // by name
    };
    static Texts Parse(std::string_view text);

    EditedFile<Texts> texts_;
    const std::filesystem::path resources_;
};

}  // namespace reference_product
