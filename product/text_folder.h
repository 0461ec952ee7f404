#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "private_include/common/localization.h"
#include "product/edited_file.h"

namespace reference_product {

// The tags of the files that have texts for a user who wants these languages (BCP 47 tags with ';'
// between, the most wanted first), the best first: "de-AT;en-US" gives "de-AT", "de", "en-US",
// "en". What is no tag is left out.
std::vector<std::string> TextTags(std::string_view languages);

// The texts of each language, in a folder with a file for each, named by its tag: "de.json",
// "pt-BR.json". Any thread may call it.
class TextFolder {
public:
    struct Texts {
        bool right_to_left = false;
        std::vector<plugins::product::LocalizationPair> pairs;  // by name

        // Null when there is none.
        const std::string* Find(std::string_view name) const;
    };
    using TextsPtr = std::shared_ptr<const Texts>;

    TextFolder(std::filesystem::path folder, Log log);

    // Gives the texts of the first of `tags` that has a well-formed file, the English ones when
    // none has. Failures are those of the English file: kNotFound, kInvalidType for a malformed
    // one. The log is told of each malformed file, once, and of a missing English one.
    vek::result_t Get(const std::vector<std::string>& tags, TextsPtr& texts);

    vek::result_t GetEnglish(TextsPtr& texts) { return File("en").Get(texts); }

private:
    using TextFile = EditedFile<Texts>;

    TextFile& File(const std::string& tag);

    const std::filesystem::path folder_;
    const Log log_;
    std::mutex lock_;  // guards what follows
    std::map<std::string, std::unique_ptr<TextFile>> files_;
};

}  // namespace reference_product
