#pragma once

// The process's own trace file.

#include <cstdint>
#include <optional>
#include <string>

#include "vek/platform/clock.h"
#include "vek/trace/tracer.h"

namespace vek::trace {

struct FileTracerConfig {
    // The folder in UTF-8, without variables in it. Nothing or an empty text stands for the
    // system's temporary folder.
    std::optional<std::string> folder;

    std::string name;                   // the first part of the file's name
    std::string version;                // the build's
    level_t level = level::kWarning;    // kDetail writes of the content of mails
    std::uint64_t max_size = 16 << 20;  // of the file in bytes; an older file may be beside it
};

// Gives the trace file's path in UTF-8. The file is named after config.name, the process and its
// id, so that no two processes share one.
std::string TraceLocation(const FileTracerConfig& config);

// Opens the trace file and makes the folders that are missing. A file that cannot be opened now is
// tried again later (see FileChannel); the result is empty only for want of memory. `clock`
// outlives the tracer.
TracerPtr OpenFileTracer(const FileTracerConfig& config,
                         platform::Clock& clock = platform::TheClock()) noexcept;

}  // namespace vek::trace
