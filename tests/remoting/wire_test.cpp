// The wire is a contract: the numbers of the methods, and the bytes of a documented check and of
// each kind of message.

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <sstream>

#include "common/remoting/interface_descriptions.h"
#include "product/localization_service.h"
#include "product/mail_scanner.h"
#include "product/settings_window_service.h"
#include "remote/rpc/wire.h"
#include "tests/remoting/pair_fixture.h"
#include "tests/support/fake_settings.h"
#include "tests/support/mail_fixture.h"
#ifdef _WIN32
#include "remote/rpc/raw_call_win32.h"
#else
#include "remote/socket/frame_posix.h"
#endif

namespace tests {
namespace {

using namespace plugins::mail_processing;
using namespace plugins::product;

// Something to call a method with.
template <class P>
struct Sample {
    std::remove_cvref_t<P> value{};
    P get() { return static_cast<P>(value); }
};
template <class T>
struct Sample<T**> {
    T* value = nullptr;
    T** get() { return &value; }
};

struct MethodNumbers : testing::Test {
    MethodNumbers() {
        pair.client_wire->tamper_request = [this](byte_vector& packet) {
            // Its call data starts with the block that comes last.
            remoting::bytes_t data(packet);
            vek::serialization::Reader reader(data.subspan(4 + 12 + 4));
            called = remoting::ReadRequestHeader(reader).target;
            return true;
        };
    }

    // Calls a method by its name; its slot, which compilers of both builds keep in the pointer to
    // it, and what goes over the wire must be of that number.
    template <class I, class... P, bool kNoThrow>
    void Expect(I& proxy, std::size_t number, result_t (I::*method)(P...) noexcept(kNoThrow)) {
        std::uintptr_t slot;
        std::memcpy(&slot, &method, sizeof slot);
        EXPECT_EQ(slot, 1 + number * sizeof(void*)) << "method " << number;
        std::tuple<Sample<P>...> samples;
        std::apply([&](auto&... sample) { static_cast<void>((proxy.*method)(sample.get()...)); },
                   samples);
        EXPECT_EQ(called.method_id, number);
        EXPECT_EQ(called.interface_id, I::kInterfaceId);
        EXPECT_EQ(called.attributes, remoting::method_attribute::kNone) << "method " << number;
    }

    template <class I, class... Method>
    void Expect(vek::interface_id_t id, Method... methods) {
        SCOPED_TRACE(remoting::RemoteInterface<I>::kName);
        EXPECT_EQ(I::kInterfaceId, id);
        const auto* const factory = plugins::remoting::RemoteInterfaces()->Find(id);
        ASSERT_TRUE(factory != nullptr);
        EXPECT_EQ(factory->methods.size(), sizeof...(methods));
        RefPtr<I> proxy;
        remoting::FactoryOf<I>()->make_proxy(
            std::make_shared<remoting::StubReference>(remoting::StubAddress{pair.client, 5}),
            proxy.put_void());
        std::size_t index = 0;
        ((Expect(*proxy, 3 + index, methods), ++index), ...);
    }

    Pair pair{nullptr};
    remoting::CallTarget called;
};

TEST_F(MethodNumbers, AreTheSlotsOfTheInterfaces) {
    using S = IDataStream;
    Expect<S>(0x652A26D7, &S::Read, &S::Write, &S::Seek, &S::GetSize, &S::SetSize, &S::Commit);
    using P = IPropertyProvider;
    Expect<P>(0x2541E3A7, &P::Delete, &P::OpenStream, &P::GetName, &P::GetFileName, &P::GetMimeTag,
              &P::GetSize, &P::Rename);
    using A = IAttachmentsEnum;
    Expect<A>(A::kInterfaceId, &A::Next, &A::Reset, &A::Find);
    using M = IMailMessage;
    Expect<M>(0xAA79D81B, &M::GetHeaderSummary, &M::GetMessageHash, &M::GetSender,
              &M::GetSenderSmtpAddress, &M::GetSentRepresenting, &M::GetSenderName,
              &M::GetSentRepresentingName, &M::GetToRecipients, &M::GetDisplayTo,
              &M::GetCcRecipients, &M::GetDisplayCc, &M::GetSubject, &M::GetTime,
              &M::GetInternetMessageId, &M::GetTransportHeaders, &M::GetPlainBody, &M::GetHtmlBody,
              &M::GetRichBody, &M::GetAttachments, &M::SetSubject, &M::AppendNotice,
              &M::SetProperty, &M::SetHeader, &M::AddHeader);
    Expect<IMailScanner>(0x492B374D, &IMailScanner::CheckMessage);
    Expect<IProductSettings>(0xAF86C16C, &IProductSettings::GetSettings,
                             &IProductSettings::SetUserSettings);
    using L = ILocalization;
    Expect<L>(L::kInterfaceId, &L::GetText, &L::ResolveResource, &L::IsRightToLeft);
    Expect<ISettingsWindow>(ISettingsWindow::kInterfaceId, &ISettingsWindow::Open);
    Expect<IUserLanguage>(0x3B5ED094, &IUserLanguage::SetUserLanguages);
    Expect<vek::IServiceLocator>(0x68E33FCA, &vek::IServiceLocator::GetInterface);
}

// A message: '>' to the product or '<' to the plug-in, and its bytes as hexadecimal text.
using Message = std::pair<char, std::string>;

// The messages of the page about remoting, in their order; "..." is a pattern there.
std::vector<Message> DocumentedCheck() {
    std::vector<Message> messages;
    std::ifstream page(MLXO_REMOTING_PAGE);
    std::string line, word;
    while (std::getline(page, line) && line != "## A check on the wire") continue;
    while (std::getline(page, line) && !line.starts_with("## ")) {
        if (line.empty() || std::strchr("<> ", line[0]) == nullptr) continue;
        if (line[0] != ' ') messages.emplace_back(line[0], "");
        line.erase(0, line.find_first_not_of("<> "));
        std::string& bytes = messages.back().second;
        for (std::istringstream words(line.substr(0, line.find("  "))); words >> word;) {
            const bool is_byte = word.size() == 2 && std::isxdigit(word[0]) != 0;
            if (!is_byte && word != "...") break;
            bytes += is_byte ? word + ' ' : ".*";
        }
    }
    for (auto& [way, bytes] : messages) {
        if (bytes.starts_with(".")) bytes += ".*";  // a part of a message alone
    }
    if (!messages.empty()) messages[0].second.erase(0, 24);  // the head of its frame
    return messages;
}

std::string Hex(std::span<const std::byte> bytes) {
    std::string text;
    for (const std::byte byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02X ", std::to_integer<unsigned>(byte));
        text += digits;
    }
    return text;
}

// The messages of a section of golden_wire.txt.
std::string Golden(const std::string& section) {
    std::ifstream file(MLXO_GOLDEN_WIRE);
    std::string line, bytes;
    while (std::getline(file, line) && line != '[' + section + ']') continue;
    while (std::getline(file, line) && !line.starts_with('['))
        if (line.starts_with('>') || line.starts_with('<')) bytes += line.substr(1);
    return bytes;
}

// However they are parted.
void ExpectSame(std::string sent, std::string golden) {
    for (std::string* const text : {&sent, &golden}) std::erase(*text, ' ');
    EXPECT_EQ(sent, golden);
}

template <class... Content>
std::string RpcBytes(const Content&... contents) {
    std::byte bytes[64];
    std::string text;
    ((remote::wire::Write(bytes, contents),
      text += Hex(std::span(bytes).first(remote::wire::kSize<Content>))),
     ...);
    return text;
}

TEST(GoldenBytes, AreThoseOfTheTransports) {
    namespace wire = remote::wire;
    constexpr std::uint64_t kToken = 0x0807060504030201;
    wire::link_bytes_t link{};
    link[0] = link[19] = std::byte{0xA5};
    ExpectSame(RpcBytes(wire::ConnectRequest{1, 2, 3, 4, kToken},
                        wire::ConnectReply{kToken, link, 5}, wire::ConfirmRequest{kToken, 6},
                        wire::ConfirmReply{link, 7}, wire::SendRequest{kToken, 8, 9, 10},
                        wire::SendReceiveRequest{kToken, 11, 12, 13, 14},
                        wire::SendReceiveReply{15, 16, 17}, wire::DisconnectRequest{kToken},
                        wire::VerdictReply{0x80000012}),
               Golden("rpc operations"));
#ifdef _WIN32
    const RPC_SYNTAX_IDENTIFIER ids[] = {remote::kInterface, remote::kTransferSyntax};
    ExpectSame(Hex(std::as_bytes(std::span(ids))), Golden("rpc interface"));
#else
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    const vek::platform::Descriptor here(ends[0]), there(ends[1]);
    remote::RpcProtocolProcessorOut packet;
    const std::array<remote::bytes_t, 1> data{std::as_bytes(std::span("abc", 3))};
    packet.SetCallIdentification(1, 2);
    packet.SetCallData(data);
    result_t failure = result::kOk;
    remote::SendPacket(here.get(), remote::FrameKind::kRequest, packet, failure);
    remote::SendVerdict(here.get(), remote::FrameKind::kWelcome, 0x80070005);
    std::byte room[100];
    const auto size = ::recv(there.get(), room, sizeof room, 0);
    ExpectSame(Hex(std::span(room).first(static_cast<std::size_t>(size))), Golden("frames"));
#endif
}

struct GoldenBytesOf : ContentFixture {
    template <class I>
    RefPtr<I> Join(RefPtr<vek::IObject> service) {
        pair.emplace(std::move(service));
        pair->client_wire->tamper_request =
            pair->client_wire->tamper_reply = [this](byte_vector& packet) {
                sent += Hex(std::span(packet).subspan(20));
                return false;
            };
        auto proxy = pair->Service<I>();
        if (I::kInterfaceId != IProductSettings::kInterfaceId) sent.clear();  // it is the same
        return proxy;
    }
    void Expect(const char* section) { ExpectSame(std::exchange(sent, ""), Golden(section)); }

    std::optional<Pair> pair;
    std::string sent;
};

TEST_F(GoldenBytesOf, EachInterface) {
    const auto settings = Join<IProductSettings>(vek::MakeObject<FakeSettings>([](auto& record) {
        record = {true, false, MailSettings{1, 0, 1}, {0, 2, 0}};
        return result::kOk;
    }));
    MailPluginSettings record;
    settings->GetSettings(record);
    settings->SetUserSettings({1, 2, 3});
    Expect("settings");

    const reference_product::Log log = [](std::string_view) {};
    const auto texts = vek::MakeObject<reference_product::LocalizationService>(
        std::make_shared<reference_product::TextFolder>("none", log), "none");
    const auto localization = Join<ILocalization>(RefPtr<ILocalization>(texts));
    std::string text;
    bool yes = false;
    localization->GetText(kDefaultResourceKind, "key", text);
    localization->ResolveResource(kDefaultResourceKind, "path", text);
    localization->IsRightToLeft(yes);
    Expect("localization");
    Join<IUserLanguage>(RefPtr<ILocalization>(texts))->SetUserLanguages("de-AT;en");
    Expect("user language");
    const auto window = Join<ISettingsWindow>(
        vek::MakeObject<reference_product::SettingsWindowService>(log, [] {}));
    window->Open(5);
    Expect("settings window");

    OpenMail();
    const auto scanner = Join<IMailScanner>(vek::MakeObject<reference_product::ScriptedScanner>(
        [](bool, auto&) { return result::kOk; }));
    scanner->CheckMessage(6626, true, mail_.get());
    Expect("scanner");

    const auto mail = Join<IMailMessage>(mail_);
    std::u16string subject;
    RefPtr<IPropertyProvider> body;
    RefPtr<IDataStream> stream;
    RefPtr<IAttachmentsEnum> attachments;
    std::array<std::byte, 2> bytes;
    std::uint32_t count = 0;
    std::uint64_t size = 0;
    mail->GetSubject(subject);
    mail->GetSenderName(text);
    mail->SetSubject(u"A\u00F1");
    mail->SetProperty(0x3FFF001E, "checked");
    mail->GetPlainBody(body.put());
    body->OpenStream(kRead, 0, stream.put());
    stream->Seek(-4, SeekOrigin::kEnd, size);
    stream->Read(bytes, count);
    stream->GetSize(size);
    stream->Write(bytes, count);
    stream.reset();
    mail->GetAttachments(attachments.put());
    attachments->Next(body.put(), yes);
    attachments->Find(u"a", body.put());
    Expect("message");
}

using DocumentedBytes = ContentFixture;

TEST_F(DocumentedBytes, AreThoseOfACheck) {
    Pair pair(RefPtr<IMailScanner>(vek::MakeObject<reference_product::MailScanner>(
        std::make_shared<reference_product::ScannerEngine>())));
    std::vector<Message> sent;
    const auto keep = [&](char way) {
        return [&sent, way](byte_vector& packet) {
            sent.emplace_back(way, Hex(packet));
            return false;
        };
    };
    pair.client_wire->tamper_request = pair.server_wire->tamper_reply = keep('>');
    pair.server_wire->tamper_request = pair.client_wire->tamper_reply = keep('<');
    {
        Set(tag::kSubjectW, "Minutes of Monday's site meeting");
        Set(tag::kBodyA, "Tom,\r\n\r\n" + std::string(265, 'x'));
        OpenMail();
        RefPtr<vek::IServiceLocator> locator;
        RefPtr<IMailScanner> scanner;
        ASSERT_EQ(pair.client->GetServiceLocator(locator), result::kOk);
        ASSERT_EQ(locator->GetInterface(IMailScanner::kInterfaceId, nullptr, scanner.put_void()),
                  result::kOk);
        EXPECT_EQ(scanner->CheckMessage(6626, true, mail_.get()), result::kOk);
    }
    EXPECT_EQ(sent.size(), 2 * (2 + 1 + 10u));

    auto next = sent.begin();
    const auto documented = DocumentedCheck();
    ASSERT_EQ(documented.size(), 16u);
    for (const auto& [way, bytes] : documented) {
        next = std::find_if(next, sent.end(), [&, way = way, bytes = bytes](const auto& message) {
            return message.first == way &&
                   testing::Value(message.second, testing::MatchesRegex(bytes));
        });
        ASSERT_TRUE(next != sent.end()) << "not sent: " << bytes;
        ++next;
    }
}

}  // namespace
}  // namespace tests
