#include "vek/trace/file_channel.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "vek/core/text.h"
#include "vek/platform/thread.h"
#include "vek/trace/line.h"

namespace vek::trace {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

// A file that failed is left alone for so long, in milliseconds.
constexpr std::uint32_t kRetryPause = 60'000;

// Room for a footer, in bytes; it takes less.
constexpr std::uint64_t kFooterRoom = 64;

std::filesystem::path ToPath(std::string_view utf8) {
    return std::u8string(utf8.begin(), utf8.end());
}

FileChannel::Options Bounded(FileChannel::Options options) {
    options.max_size = std::max(options.max_size, FileChannel::kLeastMaxSize);
    return options;
}

// Appends the first character of `text`, which is not empty, as it is written; gives its length.
std::size_t AppendCharacter(std::string& out, std::string_view text) {
    const auto [code_point, length] = DecodeUtf8(text);
    if (code_point == 0xFFFD && length == 1) {
        const auto byte = static_cast<unsigned char>(text[0]);
        out.append("\\x").append(HexDigits<char>(byte).data() + 6, 2);
    } else if (IsControl(code_point) && code_point != '\t') {
        out.append("\\u").append(HexDigits<char>(code_point).data() + 4, 4);
    } else {
        out += text.substr(0, length);
    }
    return length;
}

// `line` as it is written, with its end.
std::string HarmlessLine(std::string_view line, std::size_t max_size) {
    constexpr std::size_t kCutRoom = 32;
    if (line.ends_with(kLineEnd)) line.remove_suffix(kLineEnd.size());
    std::string out;
    out.reserve(std::min(line.size(), max_size) + kLineEnd.size());
    std::size_t cut = 0;  // where the line is cut if it is too long
    for (std::string_view left = line; !left.empty();) {
        left.remove_prefix(AppendCharacter(out, left));
        if (out.size() + kLineEnd.size() > max_size) {
            out.resize(cut);
            out += "... ";
            AppendPiece(out, line.size());
            out += " bytes";
            break;
        }
        if (out.size() + kCutRoom <= max_size) cut = out.size();
    }
    out += kLineEnd;
    return out;
}

// Whether AppendCharacter writes all of `text` as it is.
bool IsHarmless(std::string_view text) noexcept {
    while (!text.empty()) {
        const auto [code_point, length] = DecodeUtf8(text);
        if (code_point == 0xFFFD && length == 1) return false;
        if (IsControl(code_point) && code_point != '\t') return false;
        text.remove_prefix(length);
    }
    return true;
}

void AppendShortHex(std::string& text, std::uint32_t number) {
    std::array<char, 8> digits;
    text.append(digits.begin(), std::to_chars(digits.begin(), digits.end(), number, 16).ptr);
}

}  // namespace

FileChannel::FileChannel(Options options, platform::Clock& clock)
    : options_(Bounded(std::move(options))), clock_(clock) {
    // A mutex may take memory for its first owner, whom TryAppend must not be.
    const std::lock_guard lock(mutex_);
    Open();
}

FileChannel::~FileChannel() { Close(); }

void FileChannel::Append(std::string_view line) noexcept {
    const std::lock_guard lock(mutex_);
    if (!file_ && clock_.TickCount() - gave_up_at_ < kRetryPause) return;
    try {
        const std::string bytes =
            HarmlessLine(line, static_cast<std::size_t>(std::min(kMaxLine, options_.max_size / 2)));
        if (!file_) Open();
        if (file_ && !Fits(bytes.size())) {
            Close();
            if (Rotate()) Open();
        }
        if (file_) Put(bytes);
    } catch (...) {
        GiveUpForNow();
    }
}

void FileChannel::TryAppend(std::string_view line) noexcept {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock || !file_ || !Fits(line.size()) || !line.ends_with(kLineEnd)) return;
    if (IsHarmless(line.substr(0, line.size() - kLineEnd.size()))) Put(line);
}

bool FileChannel::Fits(std::size_t bytes) const noexcept {
    return size_ + bytes + kFooterRoom <= options_.max_size;
}

void FileChannel::Open() {
    const std::string header = Header();
    file_ = platform::AppendFile::Open(options_.path);
    size_ = file_ ? file_.Size() : 0;
    if (size_ != 0 && !Fits(header.size())) {
        file_ = {};
        if (!Rotate()) return;
        file_ = platform::AppendFile::Open(options_.path);
        size_ = 0;
    }
    if (!file_) return GiveUpForNow();
    Put(header);
}

bool FileChannel::Rotate() {
    std::error_code error;
    std::filesystem::rename(ToPath(options_.path), ToPath(options_.path + ".old"), error);
    if (error) GiveUpForNow();
    return !error;
}

void FileChannel::Close() noexcept {
    if (!file_) return;
    try {
        std::string footer = "End of trace file, local time: ";
        platform::AppendDateAndTime(footer, platform::ToCalendar(clock_.ToLocal(clock_.UtcNow())));
        footer += kLineEnd;
        Put(footer);
    } catch (...) {  // NOLINT(bugprone-empty-catch): the file is closed without a footer
    }
    file_ = {};
}

void FileChannel::GiveUpForNow() noexcept {
    file_ = {};
    gave_up_at_ = clock_.TickCount();
}

void FileChannel::Put(std::string_view bytes) noexcept {
    if (!file_.Append(bytes)) return GiveUpForNow();
    size_ += bytes.size();
}

std::string FileChannel::Header() const {
    const platform::filetime_t utc = clock_.UtcNow();
    const std::int32_t offset = clock_.UtcOffsetMinutes();
    const std::uint32_t process = platform::CurrentProcessId();

    std::string line = "OXW TRACE FILE\t Tracer version: ";
    line += options_.version;
    line += "  UTC time: ";
    platform::AppendDateAndTime(line, platform::ToCalendar(utc));
    line += "  Local time: ";
    platform::AppendDateAndTime(line, platform::ToCalendar(clock_.ToLocal(utc)));
    line += " (UTC";
    line += offset < 0 ? '-' : '+';
    AppendPiece(line, std::abs(offset) / 60);
    line += ':';
    AppendPiece(line, std::abs(offset) % 60);
    line += ")  PID: ";
    AppendPiece(line, process);
    line += "(0x";
    AppendShortHex(line, process);
    line += ')';
    line += kLineEnd;
    return line;
}

}  // namespace vek::trace
