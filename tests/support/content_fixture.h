#pragma once

#include <span>

#include "model/mail_message_impl.h"
#include "tests/support/mail_fixture.h"
#include "vek/trace/line.h"

namespace plugins::mail_processing {

// A mail object, and of it one body or attachment with an open stream.
class ContentFixture : public tests::MailFixture {
protected:
    static constexpr std::uint32_t kRead = access_mode::kRead;
    static constexpr std::uint32_t kReadWrite = access_mode::kRead | access_mode::kWrite;

    void TearDown() override { Close(); }

    void OpenMail() {
        Close();
        mail_ = vek::MakeObject<MailMessageImpl>(mapi_.OpenMessage(entry_id_), mapi_.OpenSession(),
                                                 functions_, tracer_, owner_, clock_);
    }
    void Close() {
        stream_.reset();
        one_.reset();
        all_.reset();
        mail_.reset();
    }

    // The text that a reading operation gives, or its code as "0x...".
    template <class Object, class Interface, class Text>
    static std::string TextOf(const vek::RefPtr<Object>& object,
                              vek::result_t (Interface::*operation)(Text&) noexcept) {
        Text value{};
        const vek::result_t code = (object.get()->*operation)(value);
        std::string text;
        if (vek::Failed(code)) {
            vek::trace::AppendPiece(text, vek::trace::Hex(code));
        } else {
            vek::trace::AppendPiece(text, value);
        }
        return text;
    }

    vek::result_t OpenStream(std::uint32_t access, std::uint32_t mode = 0) {
        return one_->OpenStream(access, mode, stream_.put());
    }
    vek::result_t Write(std::string_view text) {
        std::uint32_t written = 0;
        const vek::result_t code = stream_->Write(std::as_bytes(std::span(text)), written);
        EXPECT_EQ(written, vek::Failed(code) ? 0 : text.size());
        return code;
    }
    std::string Read(std::size_t size = 1 << 16) {
        std::string content(size, '\0');
        std::uint32_t read = 0;
        EXPECT_EQ(stream_->Read(std::as_writable_bytes(std::span(content)), read),
                  vek::result::kOk);
        return content.substr(0, read);
    }

    std::shared_ptr<tests::InlineOwner> owner_ = std::make_shared<tests::InlineOwner>();
    vek::RefPtr<MailMessageImpl> mail_;
    vek::RefPtr<IAttachmentsEnum> all_;
    vek::RefPtr<IPropertyProvider> one_;
    vek::RefPtr<IDataStream> stream_;
};

}  // namespace plugins::mail_processing
