#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "vek/platform/append_file.h"
#include "vek/platform/clock.h"
#include "vek/trace/channel.h"

namespace vek::trace {

// Writes lines to a file, each in one system call, between a header and a footer. A line cannot
// harm who reads it: what a terminal takes for a command (IsControl of text.h) is written as
// "\u001b", a byte that is no UTF-8 as "\x9b", and tabs alone stay. A line that is longer than
// kMaxLine is cut, its length in bytes behind it. A full file is
// renamed, ".old" added to its name and an older one replaced, and a new file is begun: both
// together never hold more than twice the size bound.
//
// When a file cannot be opened, written or renamed, the lines of the next minute are lost; then
// it is tried again.
class FileChannel final : public Channel {
public:
    struct Options {
        std::string path;                   // UTF-8; the folder exists
        std::string version;                // the build's, for the header
        std::uint64_t max_size = 16 << 20;  // in bytes, header and footer included
    };

    // In bytes as they are written; half of max_size where that is less.
    static constexpr std::uint64_t kMaxLine = 64 << 10;

    // A smaller max_size counts as this.
    static constexpr std::uint64_t kLeastMaxSize = 4096;

    // Opens the file, at the end if it exists. `clock` outlives the channel.
    explicit FileChannel(Options options, platform::Clock& clock = platform::TheClock());
    ~FileChannel() override;

    void Append(std::string_view line) noexcept override;

    // Loses the line also while there is no file or a full one.
    void TryAppend(std::string_view line) noexcept override;

private:
    bool Fits(std::size_t bytes) const noexcept;
    void Open();
    bool Rotate();
    void Close() noexcept;
    void GiveUpForNow() noexcept;
    void Put(std::string_view bytes) noexcept;
    std::string Header() const;

    const Options options_;
    platform::Clock& clock_;

    std::mutex mutex_;  // guards what follows
    platform::AppendFile file_;
    std::uint64_t size_ = 0;
    std::uint32_t gave_up_at_ = 0;  // in ticks of the clock, while there is no file
};

}  // namespace vek::trace
