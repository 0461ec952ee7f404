#pragma once

// Every operation that a scanner can call, as a table to run through.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>

#include "mapi/property_tags.h"
#include "private_include/common/mail_message.h"
#include "sandbox/outlook/call.h"
#include "vek/core/ref_ptr.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {

using vek::RefPtr;
using vek::result_t;

// The mail that an operation works on, and the value that it gave.
struct Scan {
    static constexpr const char* kUntouched = "(untouched)";
    static constexpr std::uint32_t kRead = access_mode::kRead,
                                   kReadWrite = kRead | access_mode::kWrite;
    struct None {
        bool operator==(const None&) const = default;
    };

    RefPtr<IMailMessage> mail;
    std::function<void()> before;  // lets the disturbance begin
    std::function<bool()> after;   // whether the operation is to be tried once more
    std::string value = kUntouched;

    // Calls the operation; what prepared `object` was not disturbed.
    template <class Value = std::string, class Object, class Call>
    result_t On(const RefPtr<Object>& object, const Call& call) {
        result_t code = vek::result::kUnexpected;
        if (!object) return code;
        before();
        do {
            Value out{};
            code = call(*object, out);
            value = out == Value{} ? kUntouched : "(changed)";
            if (vek::Failed(code)) continue;
            value.clear();
            if constexpr (requires { out.get(); }) {
                value = out ? "object" : "null";
            } else if constexpr (!std::same_as<Value, None>) {
                vek::trace::AppendPiece(value, out);
            }
        } while (after());
        return code;
    }
    template <class Value = None, class Object, class Method, class... In>
    result_t Do(const RefPtr<Object>& object, Method method, const In&... in) {
        return On<Value>(object, [&](Object& it, Value& out) {
            if constexpr (std::same_as<Value, None>) {
                return (it.*method)(in...);
            } else if constexpr (requires { out.put(); }) {
                return (it.*method)(in..., out.put());
            } else {
                return (it.*method)(in..., out);
            }
        });
    }
    result_t Open(const RefPtr<IPropertyProvider>& provider, std::uint32_t access) {
        return Do<RefPtr<IDataStream>>(provider, &IPropertyProvider::OpenStream, access, 0u);
    }
    result_t ReadAll(const RefPtr<IDataStream>& stream) {
        return On(stream, [](IDataStream& it, std::string& out) {
            std::string content;
            std::array<std::byte, 7> buffer;
            std::uint64_t position = 0;
            result_t code = it.Seek(0, SeekOrigin::kStart, position);
            for (std::uint32_t count = 7; count == 7 && content.size() < 1000;) {
                if (!vek::Failed(code)) code = it.Read(buffer, count);
                if (vek::Failed(code)) return code;
                EXPECT_LE(count, buffer.size());
                content.append(reinterpret_cast<const char*>(buffer.data()), count);
            }
            return out = content, code;
        });
    }
    static result_t Write(IDataStream& stream, std::uint32_t& written) {
        return stream.Write(std::as_bytes(std::span("{\\rtf1 new text}", 16)), written);
    }
    // Opened anew when it is tried again: the stream of a failed commit must not come back.
    result_t Overwrite(const RefPtr<IPropertyProvider>& provider) {
        return On<None>(provider, [](IPropertyProvider& it, None&) {
            RefPtr<IDataStream> stream;
            std::uint64_t position = 0;
            std::uint32_t written = 0;
            result_t code = it.OpenStream(kReadWrite, 0, stream.put());
            if (!vek::Failed(code)) code = stream->Seek(0, SeekOrigin::kStart, position);
            if (!vek::Failed(code)) code = Write(*stream, written);
            return vek::Failed(code) ? code : stream->Commit();
        });
    }

    // The objects that operations work on; null where they cannot be had.
    RefPtr<IMailMessage> Mail() { return mail; }
    RefPtr<IPropertyProvider> Body() { return Made(&IMailMessage::GetPlainBody); }
    RefPtr<IPropertyProvider> Rich() { return Made(&IMailMessage::GetRichBody); }
    RefPtr<IAttachmentsEnum> Attachments() { return Made(&IMailMessage::GetAttachments); }
    RefPtr<IPropertyProvider> First() { return Attachment(1); }
    RefPtr<IPropertyProvider> Ole() { return Attachment(2); }
    RefPtr<IDataStream> BodyStream() { return Stream(Body()); }
    RefPtr<IDataStream> RichStream() { return Stream(Rich()); }

private:
    template <class Out>
    RefPtr<Out> Made(result_t (IMailMessage::*make)(Out**) noexcept) {
        RefPtr<Out> out;
        (mail.get()->*make)(out.put());
        return out;
    }
    RefPtr<IPropertyProvider> Attachment(int count) {
        const auto attachments = Attachments();
        RefPtr<IPropertyProvider> attachment;
        bool found = false;
        for (; count > 0 && attachments; --count) attachments->Next(attachment.put(), found);
        return attachment;
    }
    static RefPtr<IDataStream> Stream(const RefPtr<IPropertyProvider>& provider) {
        RefPtr<IDataStream> stream;
        std::uint64_t position = 0;
        if (provider) provider->OpenStream(kReadWrite, 0, stream.put());
        if (stream) stream->Seek(0, SeekOrigin::kStart, position);
        return stream;
    }
};

template <class I>
Scan::None OutOf(result_t (I::*)() noexcept);
template <class I, class Value>
Value OutOf(result_t (I::*)(Value&) noexcept);
template <class I, class Object>
RefPtr<Object> OutOf(result_t (I::*)(Object**) noexcept);

template <auto kObject, auto kMethod>
result_t Of(Scan& s) {
    return s.Do<decltype(OutOf(kMethod))>((s.*kObject)(), kMethod);
}

template <int kCount>
result_t Next(Scan& s) {
    using Provider = RefPtr<IPropertyProvider>;
    return s.On<Provider>(s.Attachments(), [](IAttachmentsEnum& it, Provider& out) {
        bool found = false;
        result_t code = it.Reset();
        for (int i = 0; i < kCount && !vek::Failed(code); ++i) code = it.Next(out.put(), found);
        return code;
    });
}

// How a failing call shows. A code passes the border unless something else is promised.
enum class Rule {
    kPasses,
    kIfItOpens,  // what does not open as a stream is done without
    kBody,       // a body that cannot be opened is not found
    kAddress,    // an entry must have properties: a failed check
    kNotice,     // swallowed, once it is known that the notice may go in
};

struct Operation {
    const char* name;
    const char* value;  // with an undisturbed message; null where that is tested elsewhere
    result_t (*run)(Scan&);
    Rule rule = Rule::kPasses;
};

inline std::span<const Operation> Operations() {
    using S = Scan;
    using M = IMailMessage;
    using P = IPropertyProvider;
    using E = IAttachmentsEnum;
    using D = IDataStream;
    using u32 = std::uint32_t;
    using u64 = std::uint64_t;
    static constexpr Operation kAll[] = {
        {"GetHeaderSummary", "[From:Ann][Subject:Hello][Time:2024/03/05 09:07:02]",
         Of<&S::Mail, &M::GetHeaderSummary>},
        {"GetMessageHash", nullptr, Of<&S::Mail, &M::GetMessageHash>, Rule::kIfItOpens},
        {"GetSender", "\"Ann\" <SMTP:ann@example.com>", Of<&S::Mail, &M::GetSender>},
        {"GetSmtpAddress", "ann@real.example.com", Of<&S::Mail, &M::GetSenderSmtpAddress>,
         Rule::kAddress},
        {"GetSentRepresenting", "\"Boss\" <:>", Of<&S::Mail, &M::GetSentRepresenting>},
        {"GetSenderName", "Ann", Of<&S::Mail, &M::GetSenderName>},
        {"GetSentName", "Boss", Of<&S::Mail, &M::GetSentRepresentingName>},
        {"GetToRecipients", "\"Bob\" <SMTP:bob@example.com>; \"Di\" <SMTP:bob@example.com>; ",
         Of<&S::Mail, &M::GetToRecipients>},
        {"GetDisplayTo", "Bob", Of<&S::Mail, &M::GetDisplayTo>},
        {"GetCcRecipients", "\"Cy\" <SMTP:bob@example.com>; ", Of<&S::Mail, &M::GetCcRecipients>},
        {"GetDisplayCc", "Cy", Of<&S::Mail, &M::GetDisplayCc>},
        {"GetSubject", "Hello", Of<&S::Mail, &M::GetSubject>},
        {"GetTime", "2024/03/05 09:07:02", Of<&S::Mail, &M::GetTime>},
        {"GetInternetMessageId", "<1@example.com>", Of<&S::Mail, &M::GetInternetMessageId>},
        {"GetTransportHeaders", "A: b\r\nContent-Type: text/plain\r\n",
         Of<&S::Mail, &M::GetTransportHeaders>},
        {"GetPlainBody", "object", Of<&S::Mail, &M::GetPlainBody>, Rule::kBody},
        {"GetHtmlBody", "object", Of<&S::Mail, &M::GetHtmlBody>, Rule::kBody},
        {"GetRichBody", "object", Of<&S::Mail, &M::GetRichBody>, Rule::kBody},
        {"GetAttachments", "object", Of<&S::Mail, &M::GetAttachments>},
        {"SetSubject", "", [](S& s) { return s.Do(s.mail, &M::SetSubject, u"new"); }},
        {"AppendNotice", "0", [](S& s) { return s.Do<u32>(s.mail, &M::AppendNotice, "Hey"); },
         Rule::kNotice},
        {"SetProperty", "", [](S& s) { return s.Do(s.mail, &M::SetProperty, 0x0C1A001Eu, "X"); }},
        {"SetHeader", "", [](S& s) { return s.Do(s.mail, &M::SetHeader, "A: new"); }},
        {"AddHeader", "", [](S& s) { return s.Do(s.mail, &M::AddHeader, "B: new"); }},
        {"body Delete", "", Of<&S::Body, &P::Delete>},
        {"body to read", "object", [](S& s) { return s.Open(s.Body(), S::kRead); }},
        {"body to write", "object", [](S& s) { return s.Open(s.Body(), S::kReadWrite); }},
        {"rich to read", "object", [](S& s) { return s.Open(s.Rich(), S::kRead); }},
        {"rich to write", "object", [](S& s) { return s.Open(s.Rich(), S::kReadWrite); }},
        {"body GetName", "PlainBody", Of<&S::Body, &P::GetName>},
        {"body GetFileName", S::kUntouched, Of<&S::Body, &P::GetFileName>},
        {"body GetMimeTag", S::kUntouched, Of<&S::Body, &P::GetMimeTag>},
        {"body GetSize", "0", Of<&S::Body, &P::GetSize>},
        {"body Rename", S::kUntouched, [](S& s) { return s.Do(s.Body(), &P::Rename, "x"); }},
        {"stream Read", "plain text", [](S& s) { return s.ReadAll(s.BodyStream()); }},
        {"rich Read", "{\\rtf1 some old text}", [](S& s) { return s.ReadAll(s.RichStream()); }},
        {"stream Write", "16", [](S& s) { return s.On<u32>(s.BodyStream(), S::Write); }},
        {"stream Seek", "4",
         [](S& s) { return s.Do<u64>(s.BodyStream(), &D::Seek, 4, SeekOrigin::kStart); }},
        {"stream GetSize", "10", Of<&S::BodyStream, &D::GetSize>},
        {"stream SetSize", "", [](S& s) { return s.Do(s.BodyStream(), &D::SetSize, 3u); }},
        {"body overwritten", "", [](S& s) { return s.Overwrite(s.Body()); }},
        {"rich overwritten", "", [](S& s) { return s.Overwrite(s.Rich()); }},
        {"Next", "object", Next<1>},
        {"Next, an OLE object", "object", Next<2>, Rule::kIfItOpens},
        {"Next, at the end", "null", Next<3>, Rule::kIfItOpens},
        {"Reset", "", Of<&S::Attachments, &E::Reset>},
        {"Find", "object",
         [](S& s) { return s.Do<RefPtr<P>>(s.Attachments(), &E::Find, u"Data"); }},
        {"file Delete", "", Of<&S::First, &P::Delete>},
        {"file to read", "object", [](S& s) { return s.Open(s.First(), S::kRead); }},
        {"OLE to write", "object", [](S& s) { return s.Open(s.Ole(), S::kReadWrite); },
         Rule::kIfItOpens},
        {"file GetName", "Data", Of<&S::First, &P::GetName>},
        {"file GetFileName", "data.txt", Of<&S::First, &P::GetFileName>},
        {"file GetMimeTag", "text/plain", Of<&S::First, &P::GetMimeTag>},
        {"file GetSize", "37", Of<&S::First, &P::GetSize>},
        {"file Rename", "", [](S& s) { return s.Do(s.First(), &P::Rename, "x"); }},
        {"file overwritten", "", [](S& s) { return s.Overwrite(s.First()); }},
    };
    return kAll;
}

}  // namespace plugins::mail_processing
