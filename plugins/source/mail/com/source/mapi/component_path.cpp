#include "mapi/component_path.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/throw.h"
#include "vek/platform/ansi_text.h"
#include "vek/trace/line.h"

namespace plugins::mapi {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using vek::platform::Library;

constexpr std::string_view kOutlookKey = "Software\\Clients\\Mail\\Microsoft Outlook";
constexpr std::string_view kLongPathPrefix = "\\\\?\\";

// FGetComponentPath of mapistub.dll: the path of an installed component for one locale.
using GetComponentPath = BOOL(WINAPI*)(char* component, char* qualifier, char* path,
                                       DWORD path_size, BOOL install);

constexpr std::size_t kPathSize = 260;

std::unique_ptr<Library> LoadStub(const MapiEnvironment& environment) {
    auto stub = environment.libraries.Load("mapistub.dll");
    if (stub == nullptr) {
        trace::Write(environment.tracer, kDetail, "Can't load mapistub. Try mapi32");
        stub = environment.libraries.Load("mapi32.dll");
    }
    if (stub == nullptr) helpers::ThrowLastError();
    return stub;
}

vek::platform::system_error_t Read(const MapiEnvironment& environment, std::string_view name,
                                   std::string& value) {
    return environment.registry.ReadText(vek::platform::RegistryRoot::kLocalMachine, kOutlookKey,
                                         name, value);
}

struct Locale {
    std::string_view value_name;
    std::string_view success;
};
constexpr std::array kLocales{
    Locale{"MSIApplicationLCID", "Get path succeeded for msiComponentId and msiApplicationLcid"},
    Locale{"MSIOfficeLCID", "Get path succeeded for msiComponentId and msiOfficeLCID"}};

// With the prefix the system takes a path as it stands, so only one that is plain may have it.
std::string WithLongPathPrefix(const std::string& path) {
    const bool has_drive = path.size() > 2 && path[1] == ':' && path[2] == '\\';
    if (!has_drive || path.find('/') != std::string::npos) return path;
    return std::string(kLongPathPrefix).append(path);
}

// The component's path in UTF-8, empty when there is none for that locale. The texts are
// changeable because the function takes them so.
std::string PathFor(GetComponentPath get_path, std::string& component, std::string& locale) {
    std::array<char, kPathSize> path{};
    if (!get_path(component.data(), locale.data(), path.data(), static_cast<DWORD>(path.size()),
                  TRUE)) {
        return {};
    }
    const auto end = std::find(path.begin(), path.end(), '\0');
    return vek::platform::AnsiToUtf8({path.data(), static_cast<std::size_t>(end - path.begin())});
}

}  // namespace

std::string FindMapiLibrary(const MapiEnvironment& environment) {
    const auto stub = LoadStub(environment);
    const auto get_path = reinterpret_cast<GetComponentPath>(stub->Find("FGetComponentPath"));
    if (get_path == nullptr) helpers::ThrowLastError();

    std::string component;
    helpers::CheckHResult(
        helpers::HResultFromWin32(Read(environment, "MSIComponentID", component)));
    component = vek::platform::Utf8ToAnsi(component);

    for (const Locale& kind : kLocales) {
        // The other one may do where this one is missing.
        std::string locale;
        if (Read(environment, kind.value_name, locale) != vek::platform::system_error::kNone)
            continue;
        locale = vek::platform::Utf8ToAnsi(locale);
        const std::string path = PathFor(get_path, component, locale);
        if (path.empty()) continue;
        trace::Write(environment.tracer, kDetail, kind.success);
        return WithLongPathPrefix(path);
    }
    vek::ThrowResult(vek::result::kNotFound);
}

}  // namespace plugins::mapi
