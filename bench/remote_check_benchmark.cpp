// A whole check by a scanner in another process that reads all of a message with ten attachments,
// in pieces: against a bare exchange, a hand-over to the store's thread and a read of the store for
// each piece, which it cannot do without.

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/mailbox.h"
#include "bench/other_process.h"
#include "bench/ratio.h"
#include "bench/remote_service.h"
#include "common/remoting/interface_descriptions.h"
#include "common/remoting/remote_interfaces.h"
#include "mapi/interface_ids.h"
#include "mapi/property_tags.h"
#include "processing/message_processor.h"
#include "product/in_process_product.h"
#include "product/mail_scanner.h"

namespace {

using namespace plugins::mail_processing;
namespace outlook = sandbox::outlook;

constexpr std::size_t kAttachments = 10;
constexpr std::uint32_t kAttachmentSize = 1u << 20;
constexpr std::uint32_t kReadSize = 64u << 10;
constexpr std::uint32_t kFullReads = kAttachments * (kAttachmentSize / kReadSize);

// The size of a request, or of a reply without content.
constexpr std::uint32_t kSmall = 64;

// Reads every attachment; fails when something is missing.
vek::result_t ReadEverything(bool, IMailMessage& message) {
    vek::RefPtr<IAttachmentsEnum> attachments;
    if (vek::Failed(message.GetAttachments(attachments.put()))) return vek::result::kUnexpected;
    std::vector<std::byte> buffer(kReadSize);
    std::size_t total = 0;
    for (;;) {
        vek::RefPtr<IPropertyProvider> attachment;
        vek::RefPtr<IDataStream> stream;
        bool found = false;
        if (vek::Failed(attachments->Next(attachment.put(), found))) break;
        if (!found) break;
        if (vek::Failed(attachment->OpenStream(access_mode::kRead, 0, stream.put()))) break;
        std::uint32_t count = 0;
        do {
            if (vek::Failed(stream->Read(buffer, count))) break;
            total += count;
        } while (count == buffer.size());
    }
    return total == kAttachments * kAttachmentSize ? vek::result::kOk : vek::result::kUnexpected;
}

const remote::Endpoint kEndpoint = bench::OwnEndpoint();
const bench::OtherProcess kOther([] {
    const auto scanner = vek::MakeObject<reference_product::ScriptedScanner>(ReadEverything);
    bench::Serve(kEndpoint, plugins::remoting::RemoteInterfaces(), scanner);
});

// Passes each check on and keeps its result.
class WatchedScanner final : public vek::ObjectImpl<IMailScanner> {
public:
    explicit WatchedScanner(vek::RefPtr<IMailScanner> scanner) : scanner_(std::move(scanner)) {}
    vek::result_t CheckMessage(std::uint32_t process_id, bool incoming,
                               IMailMessage* message) override {
        result_ = scanner_ ? scanner_->CheckMessage(process_id, incoming, message)
                           : vek::result::kUnexpected;
        return result_;
    }
    vek::result_t TakeResult() noexcept { return std::exchange(result_, vek::result::kUnexpected); }

private:
    const vek::RefPtr<IMailScanner> scanner_;
    vek::result_t result_ = vek::result::kUnexpected;
};

struct Mail {
    Mail() {
        outlook::MessageRecord record;
        for (std::size_t i = 0; i < kAttachments; ++i) {
            outlook::PropertyBag attachment;
            attachment.Set(plugins::mapi::tag::kAttachMethod, outlook::PropertyValue::Long(1));
            attachment.Set(plugins::mapi::tag::kAttachDataBin,
                           outlook::PropertyValue::Binary(std::string(kAttachmentSize, 'a')));
            record.AddAttachment(std::move(attachment));
        }
        message = mapi.OpenMessage(mapi.store().Add(std::move(record)));
    }
    outlook::MapiSubsystem mapi;
    vek::RefPtr<IMessage> message;
};

// Has a message checked by the scanner in the other process.
class Checks {
public:
    explicit Checks(Mail& mail)
        : message_(mail.message),
          client_(kEndpoint, plugins::remoting::RemoteInterfaces()),
          scanner_(vek::MakeObject<WatchedScanner>(client_.Service<IMailScanner>())),
          processor_(MessageProcessor::Create(
              nullptr,
              std::make_shared<plugins::mapi::MapiFunctions>(outlook::MapiSubsystem::Functions()),
              mail.mapi.OpenSession().get(),
              {vek::platform::TheSystem(), vek::platform::TheClock(), services_, nullptr})) {}

    bool Check() {
        processor_->ProcessMessage(message_.get(), kIncoming, kForeground);
        return vek::Succeeded(scanner_->TakeResult());
    }

    // Calls of either side that one check makes.
    std::uint64_t CountCrossings() {
        const auto count = [this] {
            return client_.connection().requests_sent() + client_.connection().requests_served();
        };
        const std::uint64_t before = count();
        return Check() ? count() - before : 0;
    }

private:
    const vek::RefPtr<IMessage> message_;
    const bench::Client client_;
    const vek::RefPtr<WatchedScanner> scanner_;
    plugins::loader::ServiceAccess services_{[this](vek::RefPtr<plugins::ILoader>& loader) {
        loader = vek::MakeObject<reference_product::InProcessProduct>(scanner_);
        return vek::result::kOk;
    }};
    const std::shared_ptr<MessageProcessor> processor_;
};

// What no check can do without, whatever it is made of: the other process asks for each piece, a
// thread of this one takes the request and hands it over to the thread that the store belongs to,
// which reads the piece from the attachment's stream where it is sent from.
class BareReads {
public:
    explicit BareReads(Mail& mail) : message_(mail.message) {}

    bool ReadAll() {
        const bench::BareSizes sizes{kSmall, kSmall + kReadSize, kFullReads};
        bench::Transfer(socket_, std::as_writable_bytes(std::span(sizes_ = {sizes})), true);
        std::thread served([this] { Serve(); });
        std::size_t total = 0;
        for (std::uint32_t i = 0; i < kFullReads; ++i) {
            system_.WaitAny(asked_, vek::platform::kInfinite);
            if (i % (kFullReads / kAttachments) == 0) Open(i / (kFullReads / kAttachments));
            ULONG count = 0;
            if (stream_) stream_->Read(reply_.data() + kSmall, kReadSize, &count);
            total += count;
            answer_->Set();
        }
        served.join();
        return total == kAttachments * kAttachmentSize;
    }

private:
    void Serve() {
        std::array<std::byte, kSmall> request;
        for (std::uint32_t i = 0; i < kFullReads; ++i) {
            bench::Transfer(socket_, request, false);
            request_->Set();
            system_.WaitAny(answered_, vek::platform::kInfinite);
            bench::Transfer(socket_, reply_, true);
        }
    }

    void Open(ULONG index) {
        vek::RefPtr<IAttach> attachment;
        vek::RefPtr<IUnknown> stream;
        if (message_->OpenAttach(index, nullptr, MAPI_BEST_ACCESS, attachment.put()) != S_OK ||
            attachment->OpenProperty(plugins::mapi::tag::kAttachDataBin,
                                     &plugins::mapi::iid::kStream, 0, 0, stream.put()) != S_OK) {
            return;
        }
        stream_ = vek::RefPtr<IStream>::Adopt(static_cast<IStream*>(stream.detach()));
    }

    const vek::RefPtr<IMessage> message_;
    vek::RefPtr<IStream> stream_;
    const int socket_ = kOther.bare_socket(0);
    std::array<bench::BareSizes, 1> sizes_;
    std::vector<std::byte> reply_ = std::vector<std::byte>(kSmall + kReadSize);
    vek::platform::System& system_ = vek::platform::TheSystem();
    const std::unique_ptr<vek::platform::Event> request_ =
        system_.NewEvent(vek::platform::EventKind::kAutoReset);
    const std::unique_ptr<vek::platform::Event> answer_ =
        system_.NewEvent(vek::platform::EventKind::kAutoReset);
    const std::array<vek::platform::Event*, 1> asked_{request_.get()};
    const std::array<vek::platform::Event*, 1> answered_{answer_.get()};
};

void RemoteCheck(benchmark::State& state) {
    Mail mail;
    Checks checks(mail);
    const auto crossings = static_cast<std::uint32_t>(checks.CountCrossings());
    if (crossings == 0) return state.SkipWithError("the check failed");
    BareReads bare(mail);
    bench::MeasureInTurns(
        state, kOther, [&] { return checks.Check(); }, [&] { return bare.ReadAll(); });
    state.counters["crossings"] = crossings;
}
BENCHMARK(RemoteCheck)->UseManualTime()->Iterations(1);

const bench::Ratio kCheck("25 checks of ten 1 MiB attachments, to bare reads and exchanges",
                          "RemoteCheck/iterations:1/manual_time", 1.4);

}  // namespace
