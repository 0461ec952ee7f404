#pragma once

#include <optional>
#include <string>

namespace plugins::dll {

// While it lives, a fault of this module's code that nobody handles is reported before the process
// ends of it: mlxo_dump.exe writes a dump of the threads' stacks, and Windows Error Reporting is
// told (docs/crashes.md). Faults of others go straight to the exception filter that was there
// before, to which ours go then, too.
//
// Made and destroyed on Outlook's thread, not within DllMain. A thread of its own holds the module
// meanwhile. Several share what the first has made, until the last is destroyed.
class CrashReporting {
public:
    // Makes all that the report of a fault needs and sets the filter and the terminate handler.
    // `trace_folder` is in UTF-8 and gets a folder "dumps"; nothing or an empty text stands for the
    // system's temporary folder. Lines go to the process's tracer of now.
    // Raises HResultCodeException, or for want of memory; then nothing is set.
    explicit CrashReporting(const std::optional<std::string>& trace_folder);

    // Puts back what was there before. When another filter has been set meanwhile, ours stays
    // behind it and the module in the process, and the trace says so; the module also stays when
    // a fault is in the filter or was reported.
    ~CrashReporting();

    CrashReporting(const CrashReporting&) = delete;
    CrashReporting& operator=(const CrashReporting&) = delete;
};

}  // namespace plugins::dll
