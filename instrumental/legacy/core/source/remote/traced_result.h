#pragma once

#include <string_view>

#include "vek/core/result.h"
#include "vek/core/source_location.h"
#include "vek/trace/tracer.h"

namespace remote {

// Writes "file(line): statement, result = 0x80000044" at level kError.
void TraceFailedStatement(const vek::trace::TracerPtr& tracer, std::string_view statement,
                          vek::result_t result, vek::SourceLocation place) noexcept;

}  // namespace remote

// Evaluates `statement`, which gives a result code. A failure is traced, with the statement as it
// is written here, and returned. A macro, since nothing else knows the text of its argument.
#define REMOTE_RETURN_IF_FAILED(tracer, statement)                                               \
    do {                                                                                         \
        if (const vek::result_t statement_result = (statement); vek::Failed(statement_result)) { \
            ::remote::TraceFailedStatement((tracer), #statement, statement_result,               \
                                           vek::SourceLocation::Here());                         \
            return statement_result;                                                             \
        }                                                                                        \
    } while (false)
