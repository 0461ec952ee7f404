#include "mapi/component_path.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string_view>

#include "internal/helpers/hresult_exception.h"
#include "vek/core/throw.h"
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

// Only an absolute path may have the prefix, which turns off every interpretation of it.
std::string WithLongPathPrefix(std::string path) {
    const bool has_drive = path.size() > 2 && path[1] == ':' && path[2] == '\\';
    if (has_drive) path.insert(0, kLongPathPrefix);
    return path;
}

std::optional<std::string> PathFor(GetComponentPath get_path, std::string& component,
                                   std::string& locale) {
    std::array<char, kPathSize> path{};
    if (!get_path(component.data(), locale.data(), path.data(), static_cast<DWORD>(path.size()),
                  TRUE)) {
        return std::nullopt;
    }
    const auto end = std::find(path.begin(), path.end(), '\0');
    return std::string(path.begin(), end);
}

}  // namespace

std::string FindMapiLibrary(const MapiEnvironment& environment) {
    const auto stub = LoadStub(environment);
    const auto get_path = reinterpret_cast<GetComponentPath>(stub->Find("FGetComponentPath"));
    if (get_path == nullptr) helpers::ThrowLastError();

    std::string component;
    helpers::CheckHResult(
        helpers::HResultFromWin32(Read(environment, "MSIComponentID", component)));
    // Either locale may do, so a missing one is no failure yet.
    std::string application_locale;
    std::string office_locale;
    Read(environment, "MSIApplicationLCID", application_locale);
    Read(environment, "MSIOfficeLCID", office_locale);

    if (auto path = PathFor(get_path, component, application_locale)) {
        trace::Write(environment.tracer, kDetail,
                     "Get path succeeded for msiComponentId and msiApplicationLcid");
        return WithLongPathPrefix(std::move(*path));
    }
    if (auto path = PathFor(get_path, component, office_locale)) {
        trace::Write(environment.tracer, kDetail,
                     "Get path succeeded for msiComponentId and msiOfficeLCID");
        return WithLongPathPrefix(std::move(*path));
    }
    vek::ThrowResult(vek::result::kNotFound);
}

}  // namespace plugins::mapi
