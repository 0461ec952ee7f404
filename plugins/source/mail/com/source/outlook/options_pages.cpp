#include "outlook/options_pages.h"

#include "private_include/common/localization.h"
#include "vek/core/ref_ptr.h"
#include "vek/core/text.h"

namespace plugins::mail_processing {
namespace {

constexpr std::u16string_view kAntivirusPage =
    u"OutlookQZAvPlg.PageAntivirus_D7D120AE-F434-406B-9C7C-79C53BC34879";
constexpr std::u16string_view kUnableToConnectPage =
    u"OutlookQZAvPlg.PageUnableToConnect_CD555B96-F97C-4333-A28E-0DA60FE00EAC";

}  // namespace

OptionsPage ChooseOptionsPage(loader::ServiceAccess& services) {
    using product::ILocalization;
    OptionsPage page{kUnableToConnectPage, u"Mail Antivirus"};
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
    page.program_id = kAntivirusPage;
    return page;
}

}  // namespace plugins::mail_processing
