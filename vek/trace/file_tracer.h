#pragma once

// The process's own trace file.

#include <cstdint>
#include <optional>
#include <string>

#include "vek/platform/clock.h"
#include "vek/trace/tracer.h"

namespace vek::trace {

struct FileTracerConfig {
    // The folder in UTF-8, without variables in it. Nothing, or an empty text, when it is not
    // known: then it is the system's temporary folder.
    std::optional<std::string> folder;

    std::string name;     // what is traced: the first part of the file's name
    std::string version;  // the build's
    level_t level = level::kDetail;
    std::uint64_t max_size = 16 << 20;  // of the file in bytes; an older file may be beside it
};

// Where the trace goes: a file of the folder named after what is traced, the process and its id,
// so that no two processes share one. UTF-8.
std::string TraceLocation(const FileTracerConfig& config);

// Opens the trace file, with the folders on the way to it that are missing. The tracer is also
// given when its file cannot be opened now (see FileChannel); it is empty only for want of
// memory. `clock` outlives the tracer.
TracerPtr OpenFileTracer(const FileTracerConfig& config,
                         platform::Clock& clock = platform::TheClock()) noexcept;

}  // namespace vek::trace
