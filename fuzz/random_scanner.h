#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/mail_input.h"
#include "private_include/common/mail_message.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/text.h"

namespace fuzz {

using namespace plugins::mail_processing;
using vek::RefPtr;

inline void Require(bool condition) {
    if (!condition) std::abort();
}

// A scanner without a plan: calls the mail object and what comes of it as the bytes say.
class Scanner {
public:
    Scanner(Input& input, IMailMessage& mail) : input_(input), mail_(mail) {}

    void Run() {
        for (int step = 0; step != 40 && input_.More(); ++step) Step();
    }

private:
    // On failure nothing is handed out.
    template <class Interface>
    void Take(vek::result_t code, RefPtr<Interface> object,
              std::vector<RefPtr<Interface>>& objects) {
        if (vek::Failed(code)) Require(!object);
        if (object && objects.size() < 8) objects.push_back(std::move(object));
    }

    template <class Interface>
    Interface* Pick(const std::vector<RefPtr<Interface>>& objects) {
        return objects.empty() ? nullptr : objects[input_.UpTo(objects.size() - 1)].get();
    }

    void Step() {
        switch (input_.UpTo(11)) {
            case 0:
            case 1:
                return Read();
            case 2:
                return Change();
            case 3:
                return Open();
            case 4:
            case 5:
                if (auto* attachments = Pick(enumerators_)) Walk(*attachments);
                return;
            case 6:
            case 7:
                if (auto* provider = Pick(providers_)) Use(*provider);
                return;
            case 8:
                if (auto* provider = Pick(providers_)) OpenStream(*provider);
                return;
            case 9:
            case 10:
                if (auto* stream = Pick(streams_)) Use(*stream);
                return;
            default:
                if (!streams_.empty()) streams_.erase(streams_.begin());
                if (!providers_.empty() && input_.Flip()) providers_.erase(providers_.begin());
        }
    }

    void Read() {
        using Get = vek::result_t (IMailMessage::*)(std::string&) noexcept;
        static constexpr std::array<Get, 14> kTexts = {&IMailMessage::GetHeaderSummary,
                                                       &IMailMessage::GetSender,
                                                       &IMailMessage::GetSenderSmtpAddress,
                                                       &IMailMessage::GetSentRepresenting,
                                                       &IMailMessage::GetSenderName,
                                                       &IMailMessage::GetSentRepresentingName,
                                                       &IMailMessage::GetToRecipients,
                                                       &IMailMessage::GetDisplayTo,
                                                       &IMailMessage::GetCcRecipients,
                                                       &IMailMessage::GetDisplayCc,
                                                       &IMailMessage::GetTime,
                                                       &IMailMessage::GetInternetMessageId,
                                                       &IMailMessage::GetTransportHeaders,
                                                       &IMailMessage::GetHeaderSummary};
        std::string text = "?";
        if (vek::Failed((mail_.*input_.Pick(kTexts))(text))) Require(text == "?");
        std::uint64_t hash = 0;
        if (input_.Flip()) mail_.GetMessageHash(hash);
        std::u16string subject;
        if (input_.Flip()) mail_.GetSubject(subject);
    }

    void Change() {
        std::uint32_t outcome = 0;
        switch (input_.UpTo(4)) {
            case 0:
                mail_.SetSubject(vek::ToUtf16(input_.Text()));
                return;
            case 1:
                mail_.AppendNotice(input_.Text(), outcome);
                return;
            case 2:
                mail_.SetProperty(input_.Flip() ? input_.Tag() : input_.Number(), input_.Text());
                return;
            case 3:
                mail_.SetHeader(input_.Text());
                return;
            default:
                mail_.AddHeader(input_.Text());
        }
    }

    void Open() {
        using Get = vek::result_t (IMailMessage::*)(IPropertyProvider**) noexcept;
        static constexpr std::array<Get, 3> kBodies = {
            &IMailMessage::GetPlainBody, &IMailMessage::GetHtmlBody, &IMailMessage::GetRichBody};
        if (input_.Flip()) {
            RefPtr<IPropertyProvider> body;
            const auto code = (mail_.*input_.Pick(kBodies))(body.put());
            return Take(code, std::move(body), providers_);
        }
        RefPtr<IAttachmentsEnum> attachments;
        const auto code = mail_.GetAttachments(attachments.put());
        Take(code, std::move(attachments), enumerators_);
    }

    void Walk(IAttachmentsEnum& attachments) {
        if (input_.UpTo(5) == 1) attachments.Reset();
        RefPtr<IPropertyProvider> provider;
        bool found = false;
        const auto code = input_.Flip()
                              ? attachments.Next(provider.put(), found)
                              : attachments.Find(vek::ToUtf16(input_.Text()), provider.put());
        Take(code, std::move(provider), providers_);
    }

    void Use(IPropertyProvider& provider) {
        std::string text;
        std::uint32_t size = 0;
        switch (input_.UpTo(5)) {
            case 0:
                provider.Delete();
                return;
            case 1:
                provider.GetName(text);
                return;
            case 2:
                provider.GetFileName(text);
                return;
            case 3:
                provider.GetMimeTag(text);
                return;
            case 4:
                provider.GetSize(size);
                return;
            default:
                provider.Rename(input_.Text());
        }
    }

    void OpenStream(IPropertyProvider& provider) {
        RefPtr<IDataStream> stream;
        const auto access = static_cast<std::uint32_t>(input_.UpTo(7));
        const auto code =
            provider.OpenStream(access, static_cast<std::uint32_t>(input_.UpTo(7)), stream.put());
        Take(code, std::move(stream), streams_);
    }

    // Sizes and places are bounded, since a stream holds what it is set to.
    void Use(IDataStream& stream) {
        std::array<std::byte, 300> buffer{};
        const auto part = std::span(buffer).first(input_.UpTo(buffer.size()));
        std::uint32_t count = 0;
        std::uint64_t position = 0;
        switch (input_.UpTo(5)) {
            case 0:
                stream.Read(part, count);
                Require(count <= part.size());
                return;
            case 1:
                stream.Write(part, count);
                Require(count <= part.size());
                return;
            case 2:
                stream.Seek(static_cast<std::int64_t>(input_.UpTo(2000)) - 1000,
                            static_cast<SeekOrigin>(input_.UpTo(3)), position);
                return;
            case 3:
                stream.GetSize(position);
                return;
            case 4:
                stream.SetSize(input_.UpTo(20'000));
                return;
            default:
                stream.Commit();
        }
    }

    Input& input_;
    IMailMessage& mail_;
    std::vector<RefPtr<IAttachmentsEnum>> enumerators_;
    std::vector<RefPtr<IPropertyProvider>> providers_;
    std::vector<RefPtr<IDataStream>> streams_;
};

}  // namespace fuzz
