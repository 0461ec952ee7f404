#include "remote/process_event.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <span>

#include "vek/trace/line.h"

namespace remote {
namespace {

namespace trace = vek::trace;
using vek::platform::ProcessStart;

// The 64-bit FNV-1a hash, its offset basis and prime as published by its authors (Fowler, Noll,
// Vo). Bytes in several ranges: the hash of the first is the basis of the next.
constexpr std::uint64_t kFnvOffsetBasis = 0xCBF29CE484222325;
constexpr std::uint64_t kFnvPrime = 0x100000001B3;

constexpr std::uint64_t Fnv1a(std::span<const std::byte> bytes,
                              std::uint64_t basis = kFnvOffsetBasis) noexcept {
    std::uint64_t hash = basis;
    for (const std::byte byte : bytes) {
        hash ^= std::to_integer<std::uint64_t>(byte);
        hash *= kFnvPrime;
    }
    return hash;
}

template <class Number>
constexpr auto LittleEndian(Number number) noexcept {
    std::array<std::byte, sizeof(Number)> bytes{};
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(number & 0xFF);
        number >>= 8;
    }
    return bytes;
}

void TraceMissing(std::uint32_t process_id, const ProcessStart& start,
                  const trace::TracerPtr& tracer) noexcept {
    constexpr auto kLevel = trace::level::kRemoting;
    switch (start.missing) {
        case ProcessStart::Missing::kNothing:
            return;
        case ProcessStart::Missing::kSystemVersion:
            return trace::Write(tracer, kLevel, "rmt\tcannot get OS version");
        case ProcessStart::Missing::kProcess:
            return trace::Write(tracer, kLevel, "rmt\tcannot open target process");
        case ProcessStart::Missing::kTime:
            return trace::Write(tracer, kLevel, "rmt\tcannot get target process ", process_id,
                                " start time: ", start.error);
    }
}

}  // namespace

vek::result_t ProcessEventName(std::uint32_t process_id, const ProcessStart& start,
                               EventNamespace space, const trace::TracerPtr& tracer,
                               std::string& name) noexcept {
    if (start.missing != ProcessStart::Missing::kNothing) {
        TraceMissing(process_id, start, tracer);
        return start.error == vek::platform::system_error::kAccessDenied
                   ? vek::result::kAccessDenied
                   : vek::result::kUnexpected;
    }
    const auto time = LittleEndian(start.time);
    const auto id = LittleEndian(process_id);
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%s%.016" PRIX64 "%" PRIX64,
                  space == EventNamespace::kGlobal ? "Global\\" : "", Fnv1a(id, Fnv1a(time)),
                  Fnv1a(time, Fnv1a(id)));
    try {
        name = text.data();
    } catch (const std::bad_alloc&) {
        return vek::result::kOutOfMemory;
    }
    return vek::result::kOk;
}

}  // namespace remote
