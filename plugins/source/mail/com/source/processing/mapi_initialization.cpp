#include "processing/mapi_initialization.h"

#include <chrono>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "mapi/mapi_edk.h"
#include "vek/trace/traced_border.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

constexpr std::chrono::milliseconds kGiveBackTimeout{1000};

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

void MapiInitialization::GiveBackWithoutTrust(vek::platform::System& system) noexcept {
    if (FAILED(result_)) return;
    given_back_ = true;
    trace::TracedBorder(tracer_, [&] {
        const auto thread = vek::platform::StartCountedThread(
            system, [functions = functions_] { functions->uninitialize(); });
        if (thread == nullptr) helpers::ThrowLastError();
        if (thread->Wait(kGiveBackTimeout) != vek::platform::WaitStatus::kSignalled)
            trace::Write(tracer_, trace::level::kError, "[ASYNC] MAPI does not uninitialize");
    });
}

MapiInitialization::~MapiInitialization() {
    if (given_back_) return;
    if (FAILED(result_)) {
        trace::Write(tracer_, trace::level::kDetail,
                     "UninitializeMapi: MAPI EDK is not initialized");
        return;
    }
    functions_->uninitialize();
}

}  // namespace plugins::mail_processing
