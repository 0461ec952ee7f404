#include "vek/core/exception.h"

#include "vek/core/result_text.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"

namespace vek {
namespace {

// Raises only for want of memory.
wide_string_t BuildDisplayText(const Exception& exception) {
    const SourceLocation& location = exception.location();
    wide_string_t text(ToUtf16(exception.what()));
    text.append(u" - ").append(exception.Description().view());
    text.append(u". At ").append(ToUtf16(location.file));
    text.append(u"(").append(ToUtf16(std::to_string(location.line))).append(u") ");
    return text;
}

}  // namespace

Exception::Exception(SourceLocation location, wide_string_t message,
                     std::unique_ptr<ExceptionDetail> detail) noexcept
    : location_(location), message_(std::move(message)), detail_(std::move(detail)) {}

Exception::Exception(const Exception& other)
    : std::exception(other),
      location_(other.location_),
      reserved_(other.reserved_),
      message_(other.message_),
      detail_(other.detail_ ? other.detail_->Clone() : nullptr) {}

Exception& Exception::operator=(const Exception& other) { return *this = Exception(other); }

wide_string_t ResultCodeException::Description() const { return wide_string_t(ResultText(code_)); }

wide_string_t DisplayText(const Exception& exception) noexcept {
    try {
        return BuildDisplayText(exception);
    } catch (...) {
        return {};
    }
}

std::string NarrowDisplayText(const Exception& exception) noexcept {
    try {
        return ToUtf8Strict(BuildDisplayText(exception).view())
            .value_or("<Exception display text conversion error>");
    } catch (...) {
        return {};
    }
}

void ThrowResult(result_t code, SourceLocation location) {
    throw ResultCodeException(location, code);
}

void ThrowSystem(result_t code, SourceLocation location) { throw SystemException(location, code); }

void ThrowBadQueryInterface(SourceLocation location) { throw BadQueryInterfaceException(location); }

}  // namespace vek
