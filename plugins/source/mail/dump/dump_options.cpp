#include "mail/dump/dump_options.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <string_view>

namespace mail_dump {
namespace {

std::string Shown(std::wstring_view argument) {
    const std::u8string text = std::filesystem::path(argument).u8string();
    return {text.begin(), text.end()};
}

// A number from 1 to `most`.
std::uint64_t ParseNumber(std::wstring_view name, std::wstring_view text, std::uint64_t most) {
    const bool hexadecimal = text.starts_with(L"0x");
    const std::string digits = Shown(text.substr(hexadecimal ? 2 : 0));
    const char* const end = digits.data() + digits.size();
    std::uint64_t number = 0;
    const auto parsed = std::from_chars(digits.data(), end, number, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc{} || parsed.ptr != end || number == 0 || number > most) {
        throw UsageError(Shown(name) + " takes a number, not \"" + Shown(text) + '"');
    }
    return number;
}

}  // namespace

DumpOptions ParseOptions(std::span<const wchar_t* const> arguments) {
    constexpr std::wstring_view kNames[] = {L"--folder", L"--process", L"--thread", L"--exception"};
    std::wstring_view values[std::size(kNames)];
    for (std::size_t i = 0; i < arguments.size(); i += 2) {
        const auto name = std::ranges::find(kNames, std::wstring_view(arguments[i]));
        if (name == std::end(kNames)) {
            throw UsageError("unknown argument \"" + Shown(arguments[i]) + '"');
        }
        std::wstring_view& value = values[name - kNames];
        if (!value.empty()) throw UsageError(Shown(*name) + " is given twice");
        if (i + 1 < arguments.size()) value = arguments[i + 1];
        if (value.empty()) throw UsageError(Shown(*name) + " lacks its value");
    }
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        if (values[i].empty()) throw UsageError(Shown(kNames[i]) + " is missing");
    }

    constexpr std::uint64_t kMostId = std::numeric_limits<std::uint32_t>::max();
    DumpOptions options;
    options.folder = values[0];
    options.process = static_cast<std::uint32_t>(ParseNumber(kNames[1], values[1], kMostId));
    options.thread = static_cast<std::uint32_t>(ParseNumber(kNames[2], values[2], kMostId));
    options.exception =
        ParseNumber(kNames[3], values[3], std::numeric_limits<std::uint64_t>::max());
    if (!options.folder.is_absolute()) {
        throw UsageError("--folder takes an absolute path, not \"" + Shown(values[0]) + '"');
    }
    return options;
}

}  // namespace mail_dump
