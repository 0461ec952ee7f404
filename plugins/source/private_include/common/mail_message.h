#pragma once

// A message as the scanner sees it. These interfaces cross the process border: ids, the order
// of the operations and their meaning are a contract with the product.
//
// Every operation may be called from any thread but the one that owns the message, one at a time
// for one message; it runs on the owning thread while that thread is in the check. Each returns a
// result code and never raises. On failure the out parameters are left as they were, interface
// pointers are null. Narrow texts are in the code page of the message store, as MAPI gives them.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "vek/core/object.h"

namespace plugins::mail_processing {

// How a stream is opened.
namespace access_mode {
inline constexpr std::uint32_t kRead = 1;
inline constexpr std::uint32_t kWrite = 2;
}  // namespace access_mode

namespace open_mode {
inline constexpr std::uint32_t kCreate = 2;
inline constexpr std::uint32_t kProbe = 4;  // only whether it can be opened matters
}  // namespace open_mode

// Where a seek starts, in STREAM_SEEK's numbers (objidl.h).
enum class SeekOrigin : std::uint32_t { kStart = 0, kCurrent = 1, kEnd = 2 };

// A sequence of bytes: a body or the content of an attachment.
struct IDataStream : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x652A26D7;

    // Fills `buffer` from the position on; `read` is less than its size only at the end.
    virtual vek::result_t Read(std::span<std::byte> buffer, std::uint32_t& read) noexcept = 0;
    virtual vek::result_t Write(std::span<const std::byte> bytes,
                                std::uint32_t& written) noexcept = 0;
    virtual vek::result_t Seek(std::int64_t offset, SeekOrigin origin,
                               std::uint64_t& position) noexcept = 0;
    // In bytes.
    virtual vek::result_t GetSize(std::uint64_t& size) noexcept = 0;
    virtual vek::result_t SetSize(std::uint64_t size) noexcept = 0;
    // Makes the content what was written. Without it that is taken back when nobody can commit any
    // more, as far as the old content could be kept.
    virtual vek::result_t Commit() noexcept = 0;

protected:
    ~IDataStream() = default;
};

// A body or an attachment: a name, a content and a few facts. Bodies have no file name, MIME tag
// or new name and answer kPropertyNotFound; their size fact is 0.
struct IPropertyProvider : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x2541E3A7;

    // Removes the body or the attachment from the message.
    virtual vek::result_t Delete() noexcept = 0;
    // `access` and `mode` are sets of access_mode and open_mode bits. `*stream` has a reference.
    virtual vek::result_t OpenStream(std::uint32_t access, std::uint32_t mode,
                                     IDataStream** stream) noexcept = 0;
    virtual vek::result_t GetName(std::string& name) noexcept = 0;
    virtual vek::result_t GetFileName(std::string& name) noexcept = 0;
    virtual vek::result_t GetMimeTag(std::string& tag) noexcept = 0;
    virtual vek::result_t GetSize(std::uint32_t& size) noexcept = 0;
    virtual vek::result_t Rename(std::string_view name) noexcept = 0;

protected:
    ~IPropertyProvider() = default;
};

// Walks a message's attachments in the order of its attachment table.
struct IAttachmentsEnum : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x68FE2931;

    // `found` is false at the end. `*provider` has a reference.
    virtual vek::result_t Next(IPropertyProvider** provider, bool& found) noexcept = 0;
    // The next Next starts from the first attachment again.
    virtual vek::result_t Reset() noexcept = 0;
    virtual vek::result_t Find(std::u16string_view name, IPropertyProvider** provider) noexcept = 0;

protected:
    ~IAttachmentsEnum() = default;
};

// One message. "Required" reads fail with kPropertyNotFound when the message lacks the property;
// other reads then give an empty text.
struct IMailMessage : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0xAA79D81B;

    // One line that says which message this is: addressee or sender, subject, time.
    virtual vek::result_t GetHeaderSummary(std::string& summary) noexcept = 0;
    // Stays the same while the message's identity and the sizes of its contents do.
    virtual vek::result_t GetMessageHash(std::uint64_t& hash) noexcept = 0;
    // "name" <type:address>
    virtual vek::result_t GetSender(std::string& sender) noexcept = 0;
    // The SMTP address of the sender's address book entry.
    virtual vek::result_t GetSenderSmtpAddress(std::string& address) noexcept = 0;
    // Whom the message was sent on behalf of, written as the sender is.
    virtual vek::result_t GetSentRepresenting(std::string& sender) noexcept = 0;
    virtual vek::result_t GetSenderName(std::string& name) noexcept = 0;            // required
    virtual vek::result_t GetSentRepresentingName(std::string& name) noexcept = 0;  // required
    // Each recipient as "name" <type:address> and "; ", the last included.
    virtual vek::result_t GetToRecipients(std::string& recipients) noexcept = 0;
    virtual vek::result_t GetDisplayTo(std::string& line) noexcept = 0;  // required
    virtual vek::result_t GetCcRecipients(std::string& recipients) noexcept = 0;
    virtual vek::result_t GetDisplayCc(std::string& line) noexcept = 0;      // required
    virtual vek::result_t GetSubject(std::u16string& subject) noexcept = 0;  // required
    // When it was submitted: yyyy/mm/dd hh:mm:ss, local time.
    virtual vek::result_t GetTime(std::string& time) noexcept = 0;
    virtual vek::result_t GetInternetMessageId(std::string& id) noexcept = 0;      // required
    virtual vek::result_t GetTransportHeaders(std::string& headers) noexcept = 0;  // required
    virtual vek::result_t GetPlainBody(IPropertyProvider** body) noexcept = 0;
    virtual vek::result_t GetHtmlBody(IPropertyProvider** body) noexcept = 0;
    virtual vek::result_t GetRichBody(IPropertyProvider** body) noexcept = 0;
    virtual vek::result_t GetAttachments(IAttachmentsEnum** attachments) noexcept = 0;
    virtual vek::result_t SetSubject(std::u16string_view subject) noexcept = 0;
    // Appends a notice to the HTML body, then to the plain one. `outcome` is 1 when the message may
    // not be changed: its class does not name S/MIME, and its content type is not known, signed or
    // encrypted. It is 0 otherwise, also when a body could not be changed.
    virtual vek::result_t AppendNotice(std::string_view text, std::uint32_t& outcome) noexcept = 0;
    // `tag` is a MAPI property tag of a narrow string.
    virtual vek::result_t SetProperty(std::uint32_t tag, std::string_view value) noexcept = 0;
    // Replaces the Internet header that the line "Name: value" names.
    virtual vek::result_t SetHeader(std::string_view line) noexcept = 0;
    virtual vek::result_t AddHeader(std::string_view line) noexcept = 0;

protected:
    ~IMailMessage() = default;
};

}  // namespace plugins::mail_processing
