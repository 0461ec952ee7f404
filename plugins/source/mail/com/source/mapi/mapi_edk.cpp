#include "mapi/mapi_edk.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "internal/helpers/hresult_exception.h"
#include "internal/helpers/registry_impl.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"
#include "vek/platform/ansi_text.h"
#include "vek/trace/line.h"

namespace plugins::mapi {
namespace {

namespace trace = vek::trace;
namespace system_error = vek::platform::system_error;
using trace::level::kDetail;
using trace::level::kWarning;
using vek::platform::Library;
using vek::platform::Registry;

helpers::RegistryKeyPath ClientsKey() {
    return {helpers::RegistryHandle::kLocalMachine, u"SOFTWARE\\Clients\\Mail"};
}
helpers::RegistryKeyPath OutlookKey() {
    return {helpers::RegistryHandle::kLocalMachine, u"Software\\Clients\\Mail\\Microsoft Outlook"};
}
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

// In the ANSI code page, as MAPI's functions take texts.
vek::platform::system_error_t Read(const MapiEnvironment& environment, std::u16string_view name,
                                   std::string& value) {
    std::u16string text;
    const auto error = helpers::ReadString(OutlookKey(), name, text, environment.registry);
    if (error == system_error::kNone) value = vek::platform::Utf8ToAnsi(vek::ToUtf8(text));
    return error;
}

struct Locale {
    std::u16string_view value_name;
    std::string_view success;
};
constexpr std::array kLocales{
    Locale{u"MSIApplicationLCID", "Get path succeeded for msiComponentId and msiApplicationLcid"},
    Locale{u"MSIOfficeLCID", "Get path succeeded for msiComponentId and msiOfficeLCID"}};

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

// The path of the MAPI library that the installed Outlook has recorded, with the prefix that
// lifts the length limit of paths. Raises helpers::HResultCodeException, or
// vek::ResultCodeException kNotFound when the record leads nowhere.
std::string FindMapiLibrary(const MapiEnvironment& environment) {
    const auto stub = LoadStub(environment);
    const auto get_path = reinterpret_cast<GetComponentPath>(stub->Find("FGetComponentPath"));
    if (get_path == nullptr) helpers::ThrowLastError();

    std::string component;
    helpers::CheckHResult(
        helpers::HResultFromWin32(Read(environment, u"MSIComponentID", component)));

    for (const Locale& kind : kLocales) {
        // One of the two locales is enough.
        std::string locale;
        if (Read(environment, kind.value_name, locale) != system_error::kNone) continue;
        const std::string path = PathFor(get_path, component, locale);
        if (path.empty()) continue;
        trace::Write(environment.tracer, kDetail, kind.success);
        return WithLongPathPrefix(path);
    }
    vek::ThrowResult(vek::result::kNotFound);
}

// Ordinals of the functions that some MAPI libraries export without a name.
enum class Ordinal : std::uint16_t {
    kHrQueryAllRows = 75,
    kHrGetOneProp = 135,
    kFreeProws = 140,
    kWrapCompressedRtfStream = 185,
};

template <class Function>
void Resolve(const Library& library, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(library.Find(name));
    if (function == nullptr) vek::ThrowResult(vek::result::kSymbolNotFound);
}

template <class Function>
void Resolve(const Library& library, const char* name, Ordinal ordinal,
             const trace::TracerPtr& tracer, Function*& function) {
    auto symbol = library.Find(name);
    if (symbol == nullptr) {
        trace::Write(tracer, kDetail, "Try get ", name, " by ordinal");
        symbol = library.FindOrdinal(static_cast<std::uint16_t>(ordinal));
    }
    if (symbol == nullptr) vek::ThrowResult(vek::result::kSymbolNotFound);
    function = reinterpret_cast<Function*>(symbol);
}

MapiFunctions ResolveAll(const Library& library, const trace::TracerPtr& tracer) {
    MapiFunctions table;
    Resolve(library, "MAPIInitialize", table.initialize);
    Resolve(library, "MAPIUninitialize", table.uninitialize);
    Resolve(library, "MAPILogonEx", table.logon_ex);
    Resolve(library, "HrGetOneProp", Ordinal::kHrGetOneProp, tracer, table.get_one_prop);
    Resolve(library, "HrQueryAllRows", Ordinal::kHrQueryAllRows, tracer, table.query_all_rows);
    Resolve(library, "MAPIFreeBuffer", table.free_buffer);
    Resolve(library, "FreeProws", Ordinal::kFreeProws, tracer, table.free_prows);
    Resolve(library, "WrapCompressedRTFStream", Ordinal::kWrapCompressedRtfStream, tracer,
            table.wrap_compressed_rtf_stream);
    table.ole = SystemOleFunctions();
    return table;
}

// The table and the library that it points into.
struct LoadedMapi {
    std::unique_ptr<Library> library;
    MapiFunctions functions;
};

constexpr std::u16string_view kDefaultValue = u"";
constexpr std::u16string_view kOutlook = u"Microsoft Outlook";

// RPC_E_CHANGED_MODE of winerror.h: the thread has COM in another mode already.
constexpr HRESULT kChangedMode = static_cast<HRESULT>(0x80010106u);

// Makes Outlook the default mail client and puts the previous one back. A refusal of the registry
// is only traced: MAPI is tried all the same.
class OutlookAsDefaultClient {
public:
    explicit OutlookAsDefaultClient(const MapiEnvironment& environment)
        : registry_(environment.registry), tracer_(environment.tracer) {
        const auto error = helpers::ReadString(ClientsKey(), kDefaultValue, previous_, registry_);
        had_client_ = error == system_error::kNone;
        if (had_client_ && previous_ == kOutlook) {
            trace::Write(tracer_, kDetail, "Default client is outlook");
            return;
        }
        if (!had_client_ && error != system_error::kFileNotFound) {
            // A client that cannot be read cannot be put back either.
            trace::Write(tracer_, kWarning, "Cannot read default client. Error: ", error);
            return;
        }
        trace::Write(tracer_, kDetail, "Set default client");
        switched_ =
            Succeeded(helpers::WriteString(ClientsKey(), kDefaultValue, kOutlook, registry_));
    }

    ~OutlookAsDefaultClient() {
        if (!switched_) return;
        try {
            Succeeded(had_client_
                          ? helpers::WriteString(ClientsKey(), kDefaultValue, previous_, registry_)
                          : helpers::RemoveValue(ClientsKey(), kDefaultValue, registry_));
        } catch (...) {
            trace::WriteCurrentException(tracer_);
        }
    }

    OutlookAsDefaultClient(const OutlookAsDefaultClient&) = delete;
    OutlookAsDefaultClient& operator=(const OutlookAsDefaultClient&) = delete;

private:
    bool Succeeded(vek::platform::system_error_t error) const noexcept {
        if (error == system_error::kNone) return true;
        trace::Write(tracer_, kWarning, "Cannot write default client. Error: ", error);
        return false;
    }

    Registry& registry_;
    const trace::TracerPtr tracer_;
    std::u16string previous_;
    bool had_client_ = false;
    bool switched_ = false;
};

}  // namespace

std::shared_ptr<const MapiFunctions> LoadMapi(const MapiEnvironment& environment) {
    const std::string path = FindMapiLibrary(environment);
    auto loaded = std::make_shared<LoadedMapi>();
    loaded->library = environment.libraries.Load(path);
    if (loaded->library == nullptr) helpers::ThrowLastError();
    loaded->functions = ResolveAll(*loaded->library, environment.tracer);
    return {loaded, &loaded->functions};
}

void InitializeMapi(const MapiFunctions& functions, const MapiEnvironment& environment) {
    const OutlookAsDefaultClient outlook(environment);
    MAPIINIT_0 record{MAPI_INIT_VERSION, 0};
    HRESULT result = functions.initialize(&record);
    if (result == kChangedMode) {
        trace::Write(environment.tracer, kDetail,
                     "MAPIInitialize return RPC_E_CHANGED_MODE. Try another init options");
        record.ulFlags = kNoCoInit;
        result = functions.initialize(&record);
    }
    helpers::CheckHResult(result);
}

}  // namespace plugins::mapi
