#pragma once

#include <string_view>

#include "vek/trace/line.h"
#include "vek/trace/scope.h"

namespace plugins::mail_processing {

// The border of a handler that Outlook calls: nothing is raised out of it, whatever goes wrong is
// traced. `name` is constant text.
template <class Body>
void HandleEvent(const vek::trace::TracerPtr& tracer, std::string_view name,
                 const Body& body) noexcept {
    const vek::trace::Scope scope(tracer, name);
    try {
        body();
    } catch (...) {
        vek::trace::WriteCurrentException(tracer);
    }
}

}  // namespace plugins::mail_processing
