#include "processing/mapi_initialization.h"

#include <utility>

#include "mapi/mapi_edk.h"
#include "vek/core/border.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

HRESULT Initialize(const mapi::MapiFunctions& functions, vek::platform::Registry& registry,
                   const trace::TracerPtr& tracer) noexcept {
    const auto result = static_cast<HRESULT>(vek::AtBorder([&] {
        mapi::InitializeMapi(functions, {vek::platform::TheLibraryLoader(), registry, tracer});
    }));
    if (FAILED(result))
        trace::Write(tracer, trace::level::kError,
                     "[ASYNC] Failed to initialize MAPI. Error: ", trace::Hex(result));
    return result;
}

}  // namespace

MapiInitialization::MapiInitialization(std::shared_ptr<const mapi::MapiFunctions> functions,
                                       vek::platform::Registry& registry,
                                       trace::TracerPtr tracer) noexcept
    : functions_(std::move(functions)),
      tracer_(std::move(tracer)),
      result_(Initialize(*functions_, registry, tracer_)) {}

MapiInitialization::~MapiInitialization() {
    if (FAILED(result_)) {
        trace::Write(tracer_, trace::level::kDetail,
                     "UninitializeMapi: MAPI EDK is not initialized");
        return;
    }
    functions_->uninitialize();
}

}  // namespace plugins::mail_processing
