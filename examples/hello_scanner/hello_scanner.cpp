// The process of a small product, which refuses mail with a certain word in its subject. It prints
// "ready" when it can be reached, and ends when something comes on its standard input, or that
// ends.

#include <chrono>
#include <fstream>
#include <iostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/remoting/remote_interfaces.h"
#include "private_include/common/mail_scanner.h"
#include "private_include/common/product_settings.h"
#include "vek/core/border.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/result_text.h"
#include "vek/core/throw.h"
#include "vek/platform/module_folder.h"
#include "vek/platform/thread.h"
#include "vek/remoting/server.h"

namespace {

using namespace plugins::mail_processing;
using namespace plugins::product;
namespace result = vek::result;

constexpr std::u16string_view kRefusedWord = u"Invoice";
constexpr std::u16string_view kMark = u"[refused] ";
constexpr std::string_view kNotice = "This message was refused because of its subject.";

// They are deleted when all have been seen: what a table says of its next row after that is not
// certain. One that is not offered to scanners, such as an attached message, stays.
void DeleteAttachments(IMailMessage& message) {
    vek::RefPtr<IAttachmentsEnum> attachments;
    vek::CheckResult(message.GetAttachments(attachments.put()));
    std::vector<vek::RefPtr<IPropertyProvider>> all;
    for (bool found = true; found;) {
        vek::RefPtr<IPropertyProvider> attachment;
        const vek::result_t code = attachments->Next(attachment.put(), found);
        if (code == result::kNotSupported) continue;
        vek::CheckResult(code);
        if (found) all.push_back(std::move(attachment));
    }
    for (const auto& attachment : all) vek::CheckResult(attachment->Delete());
}

// A message comes again each time that it is opened. What was done is done once: the plug-in
// appends no notice that is there, and the mark is looked for. It comes last, when all else has
// succeeded.
void Refuse(IMailMessage& message, std::u16string subject) {
    DeleteAttachments(message);
    std::uint32_t outcome = 0;
    vek::CheckResult(message.AppendNotice(kNotice, outcome));
    if (!subject.starts_with(kMark)) vek::CheckResult(message.SetSubject(subject.insert(0, kMark)));
}

// What the product offers: its service locator and its services, in one object. Any thread calls
// it, several at once; it has no state.
class HelloProduct final
    : public vek::ObjectImpl<vek::IServiceLocator, IMailScanner, IProductSettings> {
public:
    vek::result_t GetInterface(vek::interface_id_t id, const void* /*reserved*/,
                               void** service) noexcept override {
        return QueryInterface(id, service);
    }

    // A message without a subject has none of its words.
    vek::result_t CheckMessage(std::uint32_t /*process_id*/, bool /*incoming*/,
                               IMailMessage* message) override {
        if (message == nullptr) return result::kInvalidArgument;
        return vek::AtBorder([&] {
            std::u16string subject;
            const vek::result_t code = message->GetSubject(subject);
            if (code == result::kPropertyNotFound) return;
            vek::CheckResult(code);
            if (subject.find(kRefusedWord) != subject.npos) Refuse(*message, std::move(subject));
        });
    }

    vek::result_t GetSettings(MailPluginSettings& settings) noexcept override {
        settings = {.isPluginEnabled = true,
                    .checkIncomingOnly = false,
                    .policySettings = std::nullopt,
                    .userSettings = {.checkOnDelivery = 1, .checkOnRead = 1, .checkOnSend = 1}};
        return result::kOk;
    }
    vek::result_t SetUserSettings(const MailSettings& /*settings*/) noexcept override {
        return result::kNotSupported;
    }
};

// Lets the processes of this user reach the product at this process's id.
vek::result_t Serve(std::unique_ptr<vek::remoting::Server>& server) {
    vek::remoting::ServerConfig config;
    config.endpoint.local_id = vek::platform::CurrentProcessId();
    config.connection.factories = plugins::remoting::RemoteInterfaces();
    config.connection.master =
        std::make_shared<vek::remoting::SteadyMaster>(vek::MakeObject<HelloProduct>());
    return vek::remoting::Server::Start(std::move(config), server);
}

// Checks under way end soon when their callers are gone; the process must not end under them.
void AwaitRelease() {
    for (int i = 0; i < 500 && vek::LiveObjectCount() != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

}  // namespace

int main() {
    std::unique_ptr<vek::remoting::Server> server;
    if (const vek::result_t code = Serve(server); vek::Failed(code)) {
        std::string text = "it cannot be reached, ";
        vek::AppendResult(text, code);
        std::cerr << text << '\n';
        return 1;
    }
    // For the information library, which finds it whole or not at all.
    const std::filesystem::path file = vek::platform::ModuleFolder() / "process_id";
    const std::filesystem::path written = vek::platform::ModuleFolder() / "process_id.new";
    std::ofstream(written) << server->endpoint().local_id << '\n';
    std::filesystem::rename(written, file);
    std::cout << "ready" << std::endl;

    std::cin.get();
    std::filesystem::remove(file);
    server.reset();
    AwaitRelease();
}
