#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "product/product_log.h"
#include "product/state/text_file.h"
#include "vek/core/result.h"

namespace reference_product {

// A file that people edit while the product runs: it is read for each question, and parsed when it
// has changed. Free-threaded.
template <class Content>
class EditedFile {
public:
    // Raises std::exception for a text that it does not understand.
    using Parse = std::function<Content(std::string_view text)>;

    EditedFile(std::filesystem::path path, Parse parse, Log log)
        : path_(std::move(path)), parse_(std::move(parse)), log_(std::move(log)) {}

    // What the file says now. kNotFound when it is not there, kInvalidType when it cannot be read
    // or is not understood: then `content` is left as it was, and the log is told why, once.
    vek::result_t Get(std::shared_ptr<const Content>& content) {
        const std::lock_guard guard(lock_);
        vek::result_t code = vek::result::kInvalidType;
        try {
            std::optional<std::string> text = ReadTextFile(path_);
            if (!text) {
                code = vek::result::kNotFound;
                throw std::runtime_error(PathText(path_) + ": there is no such file");
            }
            if (!content_ || *text != text_) Take(*std::move(text));
            content = content_;
            trouble_.clear();
            return vek::result::kOk;
        } catch (const std::exception& exception) {
            if (trouble_ != exception.what()) log_(trouble_ = exception.what());
            return code;
        }
    }

    const std::filesystem::path& path() const noexcept { return path_; }

private:
    void Take(std::string text) {
        try {
            content_ = std::make_shared<const Content>(parse_(text));
            text_ = std::move(text);
        } catch (const std::exception& exception) {
            throw std::runtime_error(PathText(path_) + ": " + exception.what());
        }
    }

    const std::filesystem::path path_;
    const Parse parse_;
    const Log log_;
    std::mutex lock_;  // guards what follows
    // The last text that was understood, and what it says.
    std::string text_;
    std::shared_ptr<const Content> content_;
    std::string trouble_;  // what the log was told last
};

}  // namespace reference_product
