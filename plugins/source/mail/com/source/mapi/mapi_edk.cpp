#include "mapi/mapi_edk.h"

#include <optional>
#include <string>
#include <string_view>

#include "internal/helpers/hresult_exception.h"
#include "mapi/component_path.h"
#include "vek/core/throw.h"
#include "vek/trace/line.h"

namespace plugins::mapi {
namespace {

namespace trace = vek::trace;
using trace::level::kDetail;
using vek::platform::Library;
using vek::platform::Registry;
using vek::platform::RegistryRoot;

constexpr std::string_view kClientsKey = "SOFTWARE\\Clients\\Mail";
constexpr std::string_view kDefaultValue = "";
constexpr std::string_view kOutlook = "Microsoft Outlook";

// RPC_E_CHANGED_MODE of winerror.h: the thread has COM in another mode already.
constexpr HRESULT kChangedMode = static_cast<HRESULT>(0x80010106u);

// MAPIINIT_0 of mapix.h; the header's own structure is not in every toolchain.
struct InitRecord {
    ULONG version;
    ULONG flags;
};

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

// Makes Outlook the default mail client and puts the previous one back.
class OutlookAsDefaultClient {
public:
    explicit OutlookAsDefaultClient(const MapiEnvironment& environment)
        : registry_(environment.registry), tracer_(environment.tracer) {
        std::string client;
        const auto error =
            registry_.ReadText(RegistryRoot::kLocalMachine, kClientsKey, kDefaultValue, client);
        if (error == vek::platform::system_error::kNone && client == kOutlook) {
            trace::Write(tracer_, kDetail, "Default client is outlook");
            return;
        }
        trace::Write(tracer_, kDetail, "Set default client");
        // Where the plug-in may not write, MAPI is tried all the same.
        if (!Write(kOutlook)) return;
        had_client_ = error == vek::platform::system_error::kNone;
        previous_ = std::move(client);
        switched_ = true;
    }

    ~OutlookAsDefaultClient() {
        if (!switched_) return;
        if (had_client_) {
            Write(previous_);
        } else {
            registry_.DeleteValue(RegistryRoot::kLocalMachine, kClientsKey, kDefaultValue);
        }
    }

    OutlookAsDefaultClient(const OutlookAsDefaultClient&) = delete;
    OutlookAsDefaultClient& operator=(const OutlookAsDefaultClient&) = delete;

private:
    bool Write(std::string_view client) noexcept {
        const auto error =
            registry_.WriteText(RegistryRoot::kLocalMachine, kClientsKey, kDefaultValue, client);
        if (error == vek::platform::system_error::kNone) return true;
        trace::Write(tracer_, trace::level::kWarning, "Cannot write default client \"", client,
                     "\". Error: ", error);
        return false;
    }

    Registry& registry_;
    const trace::TracerPtr tracer_;
    bool switched_ = false;
    bool had_client_ = false;
    std::string previous_;
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
    InitRecord record{0, 0};
    HRESULT result = functions.initialize(&record);
    if (result == kChangedMode) {
        trace::Write(environment.tracer, kDetail,
                     "MAPIInitialize return RPC_E_CHANGED_MODE. Try another init options");
        record.flags = kNoCoInit;
        result = functions.initialize(&record);
    }
    helpers::CheckHResult(result);
}

}  // namespace plugins::mapi
