#pragma once

#include <filesystem>
#include <vector>

#include "private_include/common/localization.h"
#include "product/edited_file.h"
#include "vek/core/object.h"

namespace reference_product {

// The texts of a file, as texts.json shows them, and the files of a resource folder. A resource is
// a file inside the folder: a path that leads out of it is kInvalidArgument. A texts file that is
// missing gives kNotFound, one that is not understood kInvalidType. Free-threaded.
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
