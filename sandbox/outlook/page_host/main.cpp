// Shows an options page in a window, with the texts, settings and pictures of a product's folder:
//   mlxo_page_host antivirus|unable_to_connect FOLDER SECONDS
// until its standard input ends, and no longer than SECONDS.
//   mlxo_page_host --version
// Prints how long it took from the page's creation to its first picture, and where the window is.

#include <atomic>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <thread>

#include "mlxo_version.h"
#include "options/pages_win32.h"
#include "product/in_process_product.h"
#include "product/localization_service.h"
#include "product/settings_service.h"
#include "product/settings_window_service.h"
#include "sandbox/outlook/page_host/page_host.h"
#include "vek/platform/user_languages.h"

namespace {

using namespace plugins::mail_processing;
using namespace reference_product;

vek::RefPtr<InProcessProduct> ProductIn(const std::filesystem::path& folder) {
    const Log silent = [](std::string_view) {};
    auto product = vek::MakeObject<InProcessProduct>(nullptr);
    product->Offer(
        plugins::product::ILocalization::kInterfaceId,
        vek::MakeObject<LocalizationService>(std::make_shared<TextFolder>(folder / "texts", silent),
                                             folder / "resources", vek::platform::UserLanguages()));
    product->Offer(plugins::product::IProductSettings::kInterfaceId,
                   vek::MakeObject<SettingsService>(
                       std::make_shared<SettingsStore>(folder / "settings.json", "", silent),
                       Caller{}, silent));
    product->Offer(plugins::product::ISettingsWindow::kInterfaceId,
                   vek::MakeObject<SettingsWindowService>(silent, [] {}));
    return product;
}

std::atomic<bool> input_has_ended = false;

// The runtime's streams are not used: a process that ends waits for whoever reads one.
void WaitForEndOfInput() {
    char byte = 0;
    for (DWORD count = 1; count > 0;)
        if (!::ReadFile(::GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &count, nullptr)) break;
    input_has_ended = true;
}

int Show(std::string_view page_name, const std::filesystem::path& folder, int seconds) {
    plugins::loader::ServiceAccess services([&](vek::RefPtr<plugins::ILoader>& loader) {
        loader = ProductIn(folder);
        return vek::result::kOk;
    });
    const auto create = page_name == "antivirus" ? CreatePageAntivirus : CreatePageUnableToConnect;
    const auto begun = std::chrono::steady_clock::now();
    vek::RefPtr<IUnknown> page;
    HRESULT code =
        create({.services = services}, ::GetModuleHandleW(nullptr), IID_IUnknown, page.put_void());
    const auto host = vek::MakeObject<sandbox::outlook::PageHost>();
    if (SUCCEEDED(code)) code = host->Open(page.get());
    if (FAILED(code)) {
        std::fprintf(stderr, "the page fails with 0x%08lx\n", static_cast<unsigned long>(code));
        return 1;
    }
    ::RedrawWindow(host->frame(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begun;
    RECT place{};
    ::GetWindowRect(host->frame(), &place);
    std::printf("%.1f ms, %ld %ld %ld %ld\n", took.count(), place.left, place.top, place.right,
                place.bottom);
    std::fflush(stdout);
    std::thread(WaitForEndOfInput).detach();
    host->RunUntil([] { return input_has_ended.load(); }, std::chrono::seconds(seconds));
    host->Close();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string_view(argv[1]) == "--version") {
        std::puts("mlxo_page_host " MLXO_VERSION);
        return 0;
    }
    int seconds = 0;
    if (argc != 4 ||
        std::from_chars(argv[3], argv[3] + std::string_view(argv[3]).size(), seconds).ec !=
            std::errc()) {
        std::fputs("mlxo_page_host antivirus|unable_to_connect FOLDER SECONDS\n", stderr);
        return 2;
    }
    if (FAILED(::OleInitialize(nullptr))) return 1;
    ::SetProcessDPIAware();
    const int code = Show(argv[1], argv[2], seconds);
    ::OleUninitialize();
    return code;
}
