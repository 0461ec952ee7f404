#pragma once

// A message made of plain values, whose operations answer what a test wants.

#include <algorithm>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "private_include/common/mail_message.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {

namespace mail = plugins::mail_processing;

// What operations answer instead of doing their work.
struct AnswerPlan {
    std::map<std::string, vek::result_t, std::less<>> answers;
    vek::result_t otherwise = vek::result::kOk;
    std::uint32_t calls = 0;
    // Calls come one after the other, on several threads: that they do is known to the peer alone.
    std::mutex in_turn;

    vek::result_t For(std::string_view operation) {
        ++calls;
        const auto answer = answers.find(operation);
        return answer == answers.end() ? otherwise : answer->second;
    }

    template <class Do>
    vek::result_t Run(std::string_view operation, Do&& work) {
        const std::lock_guard guard(in_turn);
        const vek::result_t code = For(operation);
        if (vek::Succeeded(code)) work();
        return code;
    }

    template <class Value>
    vek::result_t Give(std::string_view operation, const std::optional<Value>& value, Value& out) {
        const vek::result_t code = Run(operation, [&] { out = value.value_or(out); });
        return vek::Failed(code) || value ? code : vek::result::kPropertyNotFound;
    }
};

struct FakePart {
    std::string content;
    std::optional<std::string> file_name;
    std::optional<std::string> name;
    std::optional<std::string> type;
    bool deleted = false;
    vek::result_t next_answer = vek::result::kOk;  // of the enumerator, when it reaches the part
};

class FakeStream final : public vek::ObjectImpl<mail::IDataStream> {
public:
    FakeStream(AnswerPlan& plan, FakePart& part) : plan_(plan), part_(part) {}

    vek::result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept override {
        return plan_.Run("Read", [&] {
            const auto rest = std::as_bytes(std::span(part_.content).subspan(at_));
            const auto piece = rest.first(std::min(rest.size(), buffer.size()));
            std::ranges::copy(piece, buffer.begin());
            at_ += piece.size();
            read = static_cast<std::uint32_t>(piece.size());
        });
    }
    vek::result_t Write(std::span<const std::byte> bytes,
                        std::uint32_t& written) noexcept override {
        return plan_.Run("Write", [&] {
            // Half at a time: the writer has to go on.
            written = static_cast<std::uint32_t>((bytes.size() + 1) / 2);
            part_.content.replace(at_, written, reinterpret_cast<const char*>(bytes.data()),
                                  written);
            at_ += written;
        });
    }
    vek::result_t Seek(std::int64_t offset, mail::SeekOrigin, std::uint64_t& at) noexcept override {
        return plan_.Run("Seek", [&] { at = at_ = static_cast<std::size_t>(offset); });
    }
    vek::result_t GetSize(std::uint64_t& size) noexcept override {
        return plan_.Run("GetSize", [&] { size = part_.content.size(); });
    }
    vek::result_t SetSize(std::uint64_t size) noexcept override {
        return plan_.Run("SetSize", [&] { part_.content.resize(size); });
    }
    vek::result_t Commit() noexcept override { return plan_.For("Commit"); }

private:
    AnswerPlan& plan_;
    FakePart& part_;
    std::size_t at_ = 0;
};

class FakeProvider final : public vek::ObjectImpl<mail::IPropertyProvider> {
public:
    FakeProvider(AnswerPlan& plan, FakePart& part) : plan_(plan), part_(part) {}

    vek::result_t Delete() noexcept override {
        return plan_.Run("Delete", [&] { part_.deleted = true; });
    }
    vek::result_t OpenStream(std::uint32_t, std::uint32_t,
                             mail::IDataStream** stream) noexcept override {
        return plan_.Run("OpenStream", [&] { *stream = new FakeStream(plan_, part_); });
    }
    vek::result_t GetName(std::string& name) noexcept override {
        return plan_.Give("GetName", part_.name, name);
    }
    vek::result_t GetFileName(std::string& name) noexcept override {
        return plan_.Give("GetFileName", part_.file_name, name);
    }
    vek::result_t GetMimeTag(std::string& tag) noexcept override {
        return plan_.Give("GetMimeTag", part_.type, tag);
    }
    vek::result_t GetSize(std::uint32_t&) noexcept override { return plan_.For("GetSize"); }
    vek::result_t Rename(std::string_view name) noexcept override {
        return plan_.Run("Rename", [&] { part_.file_name = name; });
    }

private:
    AnswerPlan& plan_;
    FakePart& part_;
};

class FakeAttachments final : public vek::ObjectImpl<mail::IAttachmentsEnum> {
public:
    FakeAttachments(AnswerPlan& plan, std::deque<FakePart>& parts) : plan_(plan), parts_(parts) {}

    vek::result_t Next(mail::IPropertyProvider** provider, bool& found) noexcept override {
        const vek::result_t code = plan_.For("Next");
        found = vek::Succeeded(code) && at_ < parts_.size();
        if (!found) return code;
        FakePart& part = parts_[at_++];
        if (vek::Succeeded(part.next_answer)) *provider = new FakeProvider(plan_, part);
        return part.next_answer;
    }
    vek::result_t Reset() noexcept override { return plan_.For("Reset"); }
    vek::result_t Find(std::u16string_view, mail::IPropertyProvider**) noexcept override {
        return plan_.For("Find");
    }

private:
    AnswerPlan& plan_;
    std::deque<FakePart>& parts_;
    std::size_t at_ = 0;
};

class FakeMessage final : public vek::ObjectImpl<mail::IMailMessage> {
public:
    using Text = std::optional<std::string>;

    AnswerPlan plan;
    Text sender = "\"Bob\" <SMTP:bob@example.com>";
    Text headers = "Received: by a\r\nX-Long: one\r\n two\r\n\r\n";
    std::optional<std::u16string> subject = u"Hello";
    std::optional<FakePart> plain, html, rich;
    std::deque<FakePart> attachments;  // stay where they are
    std::vector<std::string> notices, added_headers, set_headers;
    std::map<std::uint32_t, std::string> properties;
    std::uint32_t notice_outcome = 0;

    using R = vek::result_t;
    R GetHeaderSummary(std::string& out) noexcept override { return Give("GetHeaderSummary", out); }
    R GetMessageHash(std::uint64_t&) noexcept override { return plan.For("GetMessageHash"); }
    R GetSender(std::string& out) noexcept override { return plan.Give("GetSender", sender, out); }
    R GetSenderSmtpAddress(std::string& out) noexcept override {
        return plan.Give("GetSenderSmtpAddress", Text(), out);
    }
    R GetSentRepresenting(std::string& out) noexcept override {
        return Give("GetSentRepresenting", out);
    }
    R GetSenderName(std::string& out) noexcept override { return Give("GetSenderName", out); }
    R GetSentRepresentingName(std::string& out) noexcept override {
        return Give("GetSentName", out);
    }
    R GetToRecipients(std::string& out) noexcept override { return Give("GetToRecipients", out); }
    R GetDisplayTo(std::string& out) noexcept override { return Give("GetDisplayTo", out); }
    R GetCcRecipients(std::string& out) noexcept override { return Give("GetCcRecipients", out); }
    R GetDisplayCc(std::string& out) noexcept override { return Give("GetDisplayCc", out); }
    R GetSubject(std::u16string& out) noexcept override {
        return plan.Give("GetSubject", subject, out);
    }
    R GetTime(std::string& out) noexcept override { return Give("GetTime", out); }
    R GetInternetMessageId(std::string& out) noexcept override { return Give("GetId", out); }
    R GetTransportHeaders(std::string& out) noexcept override {
        return plan.Give("GetTransportHeaders", headers, out);
    }
    R GetPlainBody(mail::IPropertyProvider** out) noexcept override {
        return Body("GetPlainBody", plain, out);
    }
    R GetHtmlBody(mail::IPropertyProvider** out) noexcept override {
        return Body("GetHtmlBody", html, out);
    }
    R GetRichBody(mail::IPropertyProvider** out) noexcept override {
        return Body("GetRichBody", rich, out);
    }
    R GetAttachments(mail::IAttachmentsEnum** out) noexcept override {
        return plan.Run("GetAttachments", [&] { *out = new FakeAttachments(plan, attachments); });
    }
    R SetSubject(std::u16string_view text) noexcept override {
        return plan.Run("SetSubject", [&] { subject = text; });
    }
    R AppendNotice(std::string_view text, std::uint32_t& outcome) noexcept override {
        return plan.Run("AppendNotice", [&] {
            outcome = notice_outcome;
            if (outcome == 0) notices.emplace_back(text);
        });
    }
    R SetProperty(std::uint32_t tag, std::string_view value) noexcept override {
        return plan.Run("SetProperty", [&] { properties[tag] = value; });
    }
    R SetHeader(std::string_view line) noexcept override {
        return plan.Run("SetHeader", [&] { set_headers.emplace_back(line); });
    }
    R AddHeader(std::string_view line) noexcept override {
        return plan.Run("AddHeader", [&] { added_headers.emplace_back(line); });
    }

private:
    R Give(std::string_view operation, std::string& out) {
        return plan.Run(operation, [&] { out = "[summary]"; });
    }
    R Body(std::string_view operation, std::optional<FakePart>& part,
           mail::IPropertyProvider** out) {
        const R code =
            plan.Run(operation, [&] { *out = part ? new FakeProvider(plan, *part) : nullptr; });
        return vek::Failed(code) || part ? code : vek::result::kNotFound;
    }
};

}  // namespace reference_product
