#include "outlook/Addin.h"

#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "outlook/event_handler.h"
#include "outlook/message_age.h"
#include "outlook/message_properties.h"
#include "outlook/options_pages.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;

// The pointer that says that work goes on in the background.
constexpr std::uint16_t kWorkingCursor = 32514;

// Shows a pointer for as long as it lives.
class ShownCursor {
public:
    explicit ShownCursor(Cursor& cursor) noexcept
        : cursor_(cursor), previous_(cursor.Show(kWorkingCursor)) {}
    ~ShownCursor() { cursor_.Restore(previous_); }
    ShownCursor(const ShownCursor&) = delete;
    ShownCursor& operator=(const ShownCursor&) = delete;

private:
    Cursor& cursor_;
    void* const previous_;
};

}  // namespace

CAddin::CAddin(AddinEnvironment environment)
    : environment_(std::move(environment)),
      items_([this](const ItemPtr& item) { ItemRead(item); }, environment_.tracer),
      recently_checked_(environment_.clock) {}

CAddin::~CAddin() { Disconnect(); }

void CAddin::OnQuit() noexcept {
    HandleEvent(environment_.tracer, "OnQuit", [&] {
        quitting_ = true;
        if (const auto async = async_) async->PrepareStop();
    });
}

void CAddin::OnOptionsPagesAdd(PropertyPages& pages) noexcept {
    HandleEvent(environment_.tracer, "OnOptionsAddPages", [&] {
        const OptionsPage page = ChooseOptionsPage(environment_.services);
        helpers::CheckHResult(pages.Add(page.program_id, page.caption));
    });
}

void CAddin::ProcessMessageWithWaitCursor(IMessage* message, bool incoming, PendingCheck& check) {
    const auto processor = processor_;
    vek::Check(processor != nullptr);
    const ShownCursor working(environment_.cursor);
    processor->ProcessMessage(message, incoming, false, check.HandOn());
}

bool CAddin::IsNeedScan(std::uint8_t kind) {
    const auto settings = settings_;
    return settings != nullptr && settings->IsNeedScan(kind);
}

MailItemPtr CAddin::GetMailItem(const ItemPtr& item) {
    vek::Check(item != nullptr);
    MailItemPtr mail;
    const HRESULT result = item->GetMailItem(mail);
    if (result == E_NOINTERFACE) {
        Trace("The item is no mail");
        return nullptr;
    }
    helpers::CheckGiven(result, mail);
    return mail;
}

std::u16string CAddin::GetMessageEntryId(MailItem& mail) {
    std::u16string entry_id;
    const HRESULT result = mail.GetEntryId(entry_id);
    TraceFailure("GetMessageEntryId: get_EntryID failed, hr=", result);
    return FAILED(result) ? std::u16string() : entry_id;
}

bool CAddin::IsMessageJustCreated(MailItem& mail) {
    ole_date_t created = 0;
    helpers::CheckHResult(mail.GetCreationTime(created));
    const std::int64_t age = AgeInSeconds(created, LocalOleDate(environment_.clock));
    Trace("Message exists ", age, " seconds");
    return age < kJustCreatedSeconds;
}

bool CAddin::IsItemSaved(MailItem& mail) noexcept {
    try {
        std::int16_t saved = 0;
        helpers::CheckHResult(mail.GetSaved(saved));
        return saved == kVariantTrue;
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
        return false;
    }
}

ItemPtr CAddin::GetSelectionItem() noexcept {
    const ApplicationPtr application = application_;
    ItemPtr item;
    const HRESULT result = application ? application->GetSelectedItem(item) : S_FALSE;
    TraceFailure("Unable to GetSelectionItem. Error:", result);
    if (result != S_OK || item == nullptr) return nullptr;
    if (trace::IsEnabled(environment_.tracer, trace::level::kDetail)) {
        try {
            TraceSelection(item);
        } catch (...) {  // the item is there all the same
            trace::WriteCurrentException(environment_.tracer);
        }
    }
    return item;
}

void CAddin::TraceSelection(const ItemPtr& item) {
    const MailItemPtr mail = GetMailItem(item);
    if (!mail) return;
    std::u16string message_class;
    helpers::CheckHResult(mail->GetMessageClass(message_class));
    std::int32_t type = 0;
    helpers::CheckHResult(mail->GetClass(type));
    vek::RefPtr<IMessage> message;
    helpers::CheckGiven(mail->GetMessage(message), message);
    const auto functions = functions_;
    vek::Check(functions != nullptr);
    Trace("Message being processed is of class", message_class, " and its type is", type,
          ", flags is", trace::Hex(MessageFlags(*message, *functions)));
}

}  // namespace plugins::mail_processing
