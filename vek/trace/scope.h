#pragma once

#include <string_view>
#include <utility>

#include "vek/trace/line.h"

namespace vek::trace {

// Writes "=> name" when made and "<= name" on every exit, at level kDetail. `name` is constant
// text.
class Scope {
public:
    Scope(TracerPtr tracer, std::string_view name) noexcept
        : tracer_(std::move(tracer)), name_(name) {
        Write(tracer_, level::kDetail, "=> ", name_);
    }
    ~Scope() { Write(tracer_, level::kDetail, "<= ", name_); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    TracerPtr tracer_;
    std::string_view name_;
};

}  // namespace vek::trace
