// The plug-in in a process to be killed: checks one message and then waits for its end.
//   plugin_peer LIBRARY CALL   in the first MAPI call of that number
//   plugin_peer LIBRARY idle   after the check
// LIBRARY.reached says that it is there.

#include <cstdlib>

#include "common/loader/remote_connector.h"
#include "mapi/property_tags.h"
#include "processing/message_processor.h"
#include "sandbox/outlook/mapi_subsystem.h"
#include "tests/support/installed_product.h"

int main(int, char** arguments) {
    namespace tag = plugins::mapi::tag;
    using sandbox::outlook::PropertyValue;
    const std::string library = arguments[1];
    const std::string place = arguments[2];
    const auto wait = [&] {
        std::ofstream(library + ".reached") << "here";
        std::this_thread::sleep_for(std::chrono::hours(1));
    };

    tests::InstalledAt installed(library);
    plugins::loader::ServiceAccess services(
        plugins::loader::ProductLoaderFactory({.registry = installed}));
    sandbox::outlook::MapiSubsystem mapi;
    const auto functions = std::make_shared<const plugins::mapi::MapiFunctions>(mapi.Functions());
    functions->initialize(nullptr);
    sandbox::outlook::MessageRecord record;
    record.properties.Set(tag::kSubjectW, PropertyValue::Text("Hello"));
    record.properties.Set(tag::kBodyA, PropertyValue::Text("text"));
    record.AddAttachment({}).properties.Set(tag::kAttachDataBin, PropertyValue::Binary("data"));
    const std::string id = mapi.store().Add(std::move(record));
    if (place != "idle") {
        mapi.faults().RunAtNth(static_cast<sandbox::outlook::Call>(std::atoi(place.c_str())), 1,
                               wait);
    }
    plugins::mail_processing::MessageProcessor::Create(
        nullptr, functions, nullptr,
        {vek::platform::TheSystem(), vek::platform::TheClock(), services, {}})
        ->ProcessMessage(mapi.OpenMessage(id).get(), plugins::mail_processing::kIncoming,
                         plugins::mail_processing::kForeground);
    wait();
}
