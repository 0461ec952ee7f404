// Messages, failures, wrong answers and scanners from anywhere: the mail object and its parts
// take all of them and leave nothing behind.

#include <cstdint>
#include <memory>
#include <utility>

#include "fuzz/mail_input.h"
#include "fuzz/random_scanner.h"
#include "model/mail_message_impl.h"
#include "processing/message_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"
#include "vek/core/current_exception.h"

namespace {

using namespace fuzz;
using sandbox::outlook::kStores;

// Calls are simply made, until the owner has left.
class InlineOwner final : public OwnerThread {
public:
    vek::result_t Invoke(vek::FunctionRef<void()> call) override {
        if (left_) return vek::result::kUnspecifiedError;
        try {
            call();
            return vek::result::kOk;
        } catch (...) {
            return vek::CurrentExceptionResult();
        }
    }
    void Leave() noexcept {
        ReleaseAll();
        left_ = true;
    }

private:
    bool left_ = false;
};

// Takes every line, so that making them is tried as well.
class Listener final : public vek::trace::Tracer {
public:
    bool IsEnabled(vek::trace::level_t) const noexcept override { return true; }
    void Write(vek::trace::level_t, std::string_view) noexcept override {}
};

using Functions = std::shared_ptr<const plugins::mapi::MapiFunctions>;

void CheckInline(Input& input, MapiSubsystem& mapi, const Functions& functions,
                 RefPtr<IMessage> message, const vek::trace::TracerPtr& tracer) {
    const auto owner = std::make_shared<InlineOwner>();
    const bool leave_first = input.Flip();
    auto mail = vek::MakeObject<MailMessageImpl>(std::move(message), mapi.OpenSession(), functions,
                                                 tracer, owner, vek::platform::TheClock());
    Scanner scanner(input, *mail);
    scanner.Run();
    // The scanner releases its references before or after the owner leaves.
    if (leave_first) owner->Leave();
}

void CheckWhole(Input& input, const Functions& functions, IMessage* message,
                const vek::trace::TracerPtr& tracer) {
    using namespace reference_product;
    const auto product = vek::MakeObject<InProcessProduct>(
        vek::MakeObject<ScriptedScanner>([&](bool, IMailMessage& mail) {
            Scanner(input, mail).Run();
            return vek::result::kOk;
        }));
    plugins::loader::ServiceAccess services([&](RefPtr<plugins::ILoader>& loader) {
        loader = product;
        return vek::result::kOk;
    });
    const auto processor = MessageProcessor::Create(
        nullptr, functions, nullptr,
        {vek::platform::TheSystem(), vek::platform::TheClock(), services, tracer});
    try {
        processor->ProcessMessage(message, plugins::mail_processing::kIncoming,
                                  plugins::mail_processing::kForeground);
    } catch (const vek::Exception&) {  // no session
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto tracer = std::make_shared<Listener>();
    const std::uint32_t live_before = vek::LiveObjectCount();
    {
        Input input(data, size);
        // The first byte is a text's, so the choice leaves the rest of the input as it was.
        MapiSubsystem mapi(*kStores[size != 0 ? data[0] % kStores.size() : 0]);
        const auto functions =
            std::make_shared<const plugins::mapi::MapiFunctions>(MapiSubsystem::Functions());
        functions->initialize(nullptr);
        const bool whole = input.UpTo(31) == 1;
        mapi.store().PutUser("user", input.Properties(2));
        RefPtr<IMessage> message = mapi.OpenMessage(mapi.store().Add(input.Message()));
        SetTrouble(input, mapi);
        if (whole) {
            CheckWhole(input, functions, message.get(), tracer);
            message.reset();
        } else {
            CheckInline(input, mapi, functions, std::move(message), tracer);
        }
        Require(mapi.live_objects() == 0);
        Require(mapi.memory().LiveBuffers() == 0);
        Require(mapi.memory().BadFrees() == 0);
        Require(mapi.foreign_calls() == 0);
        Require(mapi.outliving_objects() == 0);
    }
    Require(vek::LiveObjectCount() == live_before);
    return 0;
}
