#include "mapi/mapi_edk.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "internal/helpers/hresult_exception.h"
#include "mapi/component_path.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mapi {
namespace {

namespace trace = vek::trace;
namespace system_error = vek::platform::system_error;
using trace::level::kDetail;
using trace::level::kWarning;
using vek::platform::Library;
using vek::platform::Registry;
using vek::platform::RegistryRoot;

constexpr std::string_view kClientsKey = "SOFTWARE\\Clients\\Mail";
constexpr std::string_view kDefaultValue = "";
constexpr std::string_view kOutlook = "Microsoft Outlook";

// RPC_E_CHANGED_MODE of winerror.h: the thread has COM in another mode already.
constexpr HRESULT kChangedMode = static_cast<HRESULT>(0x80010106u);

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

struct LoadedMapi {
    std::unique_ptr<Library> library;
    MapiFunctions functions;
};

// Makes Outlook the default mail client and puts the previous one back. What the registry refuses
// is traced and no more: MAPI is tried all the same.
class OutlookAsDefaultClient {
public:
    explicit OutlookAsDefaultClient(const MapiEnvironment& environment)
        : registry_(environment.registry), tracer_(environment.tracer) {
        const auto error =
            registry_.ReadText(RegistryRoot::kLocalMachine, kClientsKey, kDefaultValue, previous_);
        had_client_ = error == system_error::kNone;
        if (had_client_ && previous_ == kOutlook) {
            trace::Write(tracer_, kDetail, "Default client is outlook");
            return;
        }
        if (!had_client_ && error != system_error::kFileNotFound) {
            // What cannot be read could not be put back.
            trace::Write(tracer_, kWarning, "Cannot read default client. Error: ", error);
            return;
        }
        trace::Write(tracer_, kDetail, "Set default client");
        switched_ = Succeeded(
            registry_.WriteText(RegistryRoot::kLocalMachine, kClientsKey, kDefaultValue, kOutlook));
    }

    ~OutlookAsDefaultClient() {
        if (!switched_) return;
        try {
            Succeeded(had_client_ ? registry_.WriteText(RegistryRoot::kLocalMachine, kClientsKey,
                                                        kDefaultValue, previous_)
                                  : registry_.DeleteValue(RegistryRoot::kLocalMachine, kClientsKey,
                                                          kDefaultValue));
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
    std::string previous_;
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
