#include "outlook/Addin.h"

#include <algorithm>
#include <utility>

#include "internal/helpers/hresult_exception.h"
#include "outlook/mail_item_queries.h"
#include "outlook/message_properties.h"
#include "private_include/common/localization.h"
#include "vek/core/current_exception.h"
#include "vek/core/text.h"
#include "vek/core/throw.h"
#include "vek/remoting/call_wait.h"
#include "vek/trace/scope.h"

namespace plugins::mail_processing {
namespace {

namespace trace = vek::trace;
using vek::remoting::EventScope;

// A page for Outlook's Options dialog.
struct OptionsPage {
    std::u16string_view program_id;
    std::u16string caption;
};

// The settings' page with the product's own caption, or the page that says that the product cannot
// be reached. Waits for the product's answer.
OptionsPage ChooseOptionsPage(loader::ServiceAccess& services) {
    using product::ILocalization;
    const vek::remoting::LimitedCalls limited;
    OptionsPage page{u"OutlookQZAvPlg.PageUnableToConnect_CD555B96-F97C-4333-A28E-0DA60FE00EAC",
                     u"Mail Antivirus"};
    void* service = nullptr;
    if (vek::Failed(services.GetService(ILocalization::kInterfaceId, &service))) return page;

    const auto texts = vek::RefPtr<ILocalization>::Adopt(static_cast<ILocalization*>(service));
    std::string name;
    const vek::result_t result =
        texts->GetText(product::kDefaultResourceKind, "AntiVirusPluginName", name);
    // A product without this text is there all the same; any other failure is that of its process.
    if (vek::Succeeded(result)) {
        page.caption = vek::ToUtf16(name);
    } else if (result != vek::result::kNotFound) {
        return page;
    }
    page.program_id = u"OutlookQZAvPlg.PageAntivirus_D7D120AE-F434-406B-9C7C-79C53BC34879";
    return page;
}

void TraceSelection(const ConnectedAddin& connection, const ItemPtr& item) {
    const MailItemPtr mail = GetMailItem(item, connection.tracer());
    if (!mail) return;
    std::u16string message_class;
    helpers::CheckHResult(mail->GetMessageClass(message_class));
    std::int32_t type = 0;
    helpers::CheckHResult(mail->GetClass(type));
    vek::RefPtr<IMessage> message;
    helpers::CheckGiven(mail->GetMessage(message), message);
    connection.Trace("Message being processed is of class", message_class, " and its type is", type,
                     ", flags is", trace::Hex(MessageFlags(*message, connection.functions())));
}

}  // namespace

CAddin::CAddin(AddinEnvironment environment)
    : environment_(std::move(environment)), message_events_(environment_.clock) {}

CAddin::~CAddin() { Replace(nullptr); }

HRESULT CAddin::OnConnection(ApplicationObject& object) noexcept {
    const auto self = weak_from_this().lock();
    const trace::Scope scope(environment_.tracer, "OnConnection");
    const EventScope event(std::min(environment_.event_wait, kConnectionWait));
    std::shared_ptr<ConnectedAddin> connection;
    HRESULT result = E_FAIL;
    try {
        connection = std::make_shared<ConnectedAddin>(environment_, *this);
        Replace(connection);
        connection->ThrowIfEnded();
        const std::vector<ItemPtr> open_items = connection->Make(object);
        connection_ = std::move(making_);
        CheckOpenItems(*connection, open_items);
        connection->StartBackground();
        return S_OK;
    } catch (const vek::BadQueryInterfaceException&) {
        trace::WriteCurrentException(environment_.tracer);
    } catch (...) {
        trace::WriteCurrentException(environment_.tracer);
        result = static_cast<HRESULT>(vek::CurrentExceptionResult());
    }
    if (connection) connection->End();
    // One that was made from within stays.
    if (making_ == connection) making_.reset();
    if (connection_ == connection) connection_.reset();
    return result;
}

void CAddin::CheckOpenItems(ConnectedAddin& connection, const std::vector<ItemPtr>& items) {
    connection.Trace("CAddin::checking opened mail items on connect");
    for (const ItemPtr& item : items) {
        try {
            message_events_.ItemReadImpl(connection, item);
        } catch (...) {
            trace::Write(environment_.tracer, trace::level::kError, "Mail checking failed");
            trace::WriteCurrentException(environment_.tracer);
        }
        connection.ThrowIfEnded();
    }
}

void CAddin::OnDisconnection() noexcept {
    const auto self = weak_from_this().lock();
    const trace::Scope scope(environment_.tracer, "OnDisconnection");
    Replace(nullptr);
}

// Ends what there is. The end makes calls, from within which another connection may be made, so
// `next` stands in its place before: that one ends it, and stays.
void CAddin::Replace(std::shared_ptr<ConnectedAddin> next) noexcept {
    const auto made = std::exchange(connection_, nullptr);
    const auto making = std::exchange(making_, std::move(next));
    if (made) made->End();
    if (making) making->End();
}

// Has an event handled by the connection of the moment, which is held meanwhile. Without one, there
// is nothing to do.
template <class Handler>
void CAddin::Handle(std::string_view name, const Handler& handler) noexcept {
    const auto self = weak_from_this().lock();
    const trace::Scope scope(environment_.tracer, name);
    const EventScope event(environment_.event_wait);
    TraceExceptions(environment_.tracer, [&] {
        if (const auto connection = connection_) handler(*connection);
    });
}

void CAddin::OnItemSend(const ItemPtr& item, bool& /*cancel*/) noexcept {
    Handle("OnItemSend", [&](auto& connection) { message_events_.OnItemSend(connection, item); });
}

void CAddin::OnNewMailEx(const std::u16string* entry_ids) noexcept {
    Handle("OnNewMailEx",
           [&](auto& connection) { message_events_.OnNewMailEx(connection, entry_ids); });
}

void CAddin::OnItemLoad(const ItemPtr& item) noexcept {
    Handle("OnItemLoad", [&](auto& connection) { message_events_.OnItemLoad(connection, item); });
}

void CAddin::OnItemAdd(const ItemPtr& item) noexcept {
    Handle("OnItemAdd", [&](auto& connection) { message_events_.OnItemAdd(connection, item); });
}

void CAddin::OnDelivery(mapi::IExchExtCallback* callback) noexcept {
    Handle("OnDelivery",
           [&](auto& connection) { message_events_.OnDelivery(connection, callback); });
}

void CAddin::OnRead(mapi::IExchExtCallback* callback) noexcept {
    Handle("OnRead(OU2003)",
           [&](auto& connection) { message_events_.OnRead(connection, callback); });
}

void CAddin::OnItemRead(const ItemPtr& item) noexcept {
    const auto self = weak_from_this().lock();
    TraceExceptions(environment_.tracer, [&] {
        const EventScope event(environment_.event_wait);
        if (const auto connection = connection_) message_events_.ItemReadImpl(*connection, item);
    });
}

void CAddin::OnQuit() noexcept {
    const trace::Scope scope(environment_.tracer, "OnQuit");
    if (making_) making_->PrepareStop();
    if (connection_) connection_->PrepareStop();
}

void CAddin::OnOptionsPagesAdd(PropertyPages& pages) noexcept {
    const auto self = weak_from_this().lock();
    const trace::Scope scope(environment_.tracer, "OnOptionsAddPages");
    TraceExceptions(environment_.tracer, [&] {
        const EventScope event(environment_.event_wait);
        const OptionsPage page = ChooseOptionsPage(environment_.services);
        helpers::CheckHResult(pages.Add(page.program_id, page.caption));
    });
}

std::shared_ptr<ProductSettingsProvider> CAddin::settings() const noexcept {
    return connection_ ? connection_->settings() : nullptr;
}

ItemPtr CAddin::GetSelectionItem() noexcept {
    const auto connection = connection_;
    if (!connection) return nullptr;
    ItemPtr item;
    const HRESULT result = connection->application().GetSelectedItem(item);
    connection->TraceFailure("Unable to GetSelectionItem. Error:", result);
    if (result != S_OK || item == nullptr) return nullptr;
    if (trace::IsEnabled(environment_.tracer, trace::level::kDetail)) {
        // The item is there all the same when it cannot be described.
        TraceExceptions(environment_.tracer, [&] { TraceSelection(*connection, item); });
    }
    return item;
}

}  // namespace plugins::mail_processing
