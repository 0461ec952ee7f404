#include "sandbox/outlook/object_model/outlook_application.h"

#include <utility>

#include "vek/core/text.h"

namespace sandbox::outlook {

namespace mail_processing = plugins::mail_processing;

OutlookApplication::OutlookApplication(std::shared_ptr<ObjectModel> model, MapiSubsystem& mapi,
                                       const std::string& version)
    : model_(std::move(model)),
      mapi_(mapi),
      major_version_(std::stoi(version)),
      version_(vek::ToUtf16(version + ".0.0.4569")),
      events_(model_),
      newer_events_(model_),
      inbox_events_(model_) {}

HRESULT OutlookApplication::GetName(std::u16string& name) noexcept {
    return Enter(*model_, ObjectCall::kName, [&]() -> HRESULT {
        name = u"Outlook";
        return S_OK;
    });
}

HRESULT OutlookApplication::GetVersion(std::u16string& version) noexcept {
    return Enter(*model_, ObjectCall::kVersion, [&]() -> HRESULT {
        version = version_;
        return S_OK;
    });
}

HRESULT OutlookApplication::GetMapiSession(vek::RefPtr<IMAPISession>& session) noexcept {
    return Enter(*model_, ObjectCall::kMapiSession, [&]() -> HRESULT {
        session = mapi_.OpenSession();
        return S_OK;
    });
}

HRESULT OutlookApplication::GetOpenItems(std::vector<mail_processing::ItemPtr>& items) noexcept {
    return Enter(*model_, ObjectCall::kOpenItems, [&]() -> HRESULT {
        items.assign(open_items_.begin(), open_items_.end());
        return S_OK;
    });
}

HRESULT OutlookApplication::GetSelectedItem(mail_processing::ItemPtr& item) noexcept {
    return Enter(*model_, ObjectCall::kSelectedItem, [&]() -> HRESULT {
        item = selected_item_;
        return item ? S_OK : S_FALSE;
    });
}

HRESULT OutlookApplication::AdviseEvents(mail_processing::ApplicationEvents& events,
                                         mail_processing::EventConnectionPtr& connection) noexcept {
    return events_.Advise(ObjectCall::kAdviseEvents, events, connection);
}

HRESULT OutlookApplication::AdviseNewerEvents(
    mail_processing::ApplicationEvents& events,
    mail_processing::EventConnectionPtr& connection) noexcept {
    return newer_events_.Advise(ObjectCall::kAdviseNewerEvents, events, connection);
}

HRESULT OutlookApplication::AdviseInbox(mail_processing::FolderEvents& events,
                                        mail_processing::EventConnectionPtr& connection) noexcept {
    return inbox_events_.Advise(ObjectCall::kAdviseInbox, events, connection);
}

}  // namespace sandbox::outlook
