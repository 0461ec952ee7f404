#include "vek/core/current_exception.h"

#include <exception>
#include <new>

#include "vek/core/exception.h"

namespace vek {

result_t CurrentExceptionResult() noexcept {
    try {
        throw;
    } catch (const CodeCarrier& exception) {
        return Failed(exception.code()) ? exception.code() : result::kUnexpected;
    } catch (const std::bad_alloc&) {
        return result::kOutOfMemory;
    } catch (...) {
        return result::kUnknownException;
    }
}

std::string CurrentExceptionText() noexcept {
    try {
        try {
            throw;
        } catch (const Exception& exception) {
            return NarrowDisplayText(exception);
        } catch (const std::exception& exception) {
            return exception.what();
        } catch (...) {
            return "Unknown exception";
        }
    } catch (...) {  // no memory for the text
        return {};
    }
}

}  // namespace vek
