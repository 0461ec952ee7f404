#include "vek/trace/file_tracer.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "vek/platform/process.h"
#include "vek/platform/thread.h"
#include "vek/trace/channel_tracer.h"
#include "vek/trace/file_channel.h"
#include "vek/trace/line.h"

namespace vek::trace {
namespace {

std::filesystem::path Folder(const FileTracerConfig& config) {
    if (config.folder && !config.folder->empty()) {
        return std::u8string(config.folder->begin(), config.folder->end());
    }
    std::error_code error;
    return std::filesystem::temp_directory_path(error);
}

}  // namespace

std::string TraceLocation(const FileTracerConfig& config) {
    std::string name = config.name;
    name += '.';
    name += platform::CurrentProcessName();
    name += '.';
    AppendPiece(name, platform::CurrentProcessId());
    name += ".log";

    const std::u8string path =
        (Folder(config) / std::u8string(name.begin(), name.end())).u8string();
    return {path.begin(), path.end()};
}

TracerPtr OpenFileTracer(const FileTracerConfig& config, platform::Clock& clock) noexcept {
    try {
        std::error_code error;  // opening the file finds out
        std::filesystem::create_directories(Folder(config), error);
        auto channel = std::make_unique<FileChannel>(
            FileChannel::Options{TraceLocation(config), config.version, config.max_size}, clock);
        return std::make_shared<ChannelTracer>(std::move(channel), config.level, clock);
    } catch (...) {
        return nullptr;
    }
}

}  // namespace vek::trace
