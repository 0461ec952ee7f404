#pragma once

#include <chrono>
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

// A file that people edit while the product runs. Each Get reads it, and parses it when it has
// changed. Any thread may call it.
template <class Content>
class EditedFile {
public:
    // Turns the file's text into its content; raises std::exception for a malformed text.
    using Parse = std::function<Content(std::string_view text)>;

    EditedFile(std::filesystem::path path, Parse parse, Log log)
        : path_(std::move(path)), parse_(std::move(parse)), log_(std::move(log)) {}

    // Gives what the file says now; what it said before while it cannot be read, as when somebody
    // keeps it open for himself; then it is not tried again for a second. A missing file gives
    // kNotFound, one that cannot be parsed, or was never read, kInvalidType: then `content` stays
    // as it was. The log is told why, once.
    vek::result_t Get(std::shared_ptr<const Content>& content) {
        const std::lock_guard guard(lock_);
        vek::result_t code = vek::result::kInvalidType;
        try {
            std::optional<std::string> text;
            if (Clock::now() < next_read_) return Last(content);
            try {
                text = ReadTextFile(path_);
            } catch (const std::runtime_error&) {
                next_read_ = Clock::now() + std::chrono::seconds(1);
                code = Last(content);
                throw;
            }
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
    using Clock = std::chrono::steady_clock;

    vek::result_t Last(std::shared_ptr<const Content>& content) const {
        if (!content_) return vek::result::kInvalidType;
        content = content_;
        return vek::result::kOk;
    }
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
    // The last well-formed text, and its content.
    std::string text_;
    std::shared_ptr<const Content> content_;
    Clock::time_point next_read_{};
    std::string trouble_;  // the complaint that the log has already had
};

}  // namespace reference_product
