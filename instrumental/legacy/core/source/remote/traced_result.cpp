#include "remote/traced_result.h"

#include "vek/trace/line.h"

namespace remote {

void TraceFailedStatement(const vek::trace::TracerPtr& tracer, std::string_view statement,
                          vek::result_t result, vek::SourceLocation place) noexcept {
    vek::trace::Write(tracer, vek::trace::level::kError, place.file, "(", place.line,
                      "): ", statement, ", result = ", vek::trace::Hex(result));
}

}  // namespace remote
