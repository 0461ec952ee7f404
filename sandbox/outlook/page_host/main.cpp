// Shows an options page in a window, with the texts, settings and pictures of a product's folder:
//   mlxo_page_host antivirus|unable_to_connect|languages FOLDER SECONDS
// until its standard input ends, and no longer than SECONDS; with `languages` the page of the
// settings in each language of the folder, row by row.
//   mlxo_page_host --version
// Prints how long it took from the page's creation to its first picture, and where the window is.

#include <atomic>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <list>
#include <set>
#include <stdexcept>
#include <string>
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
#include "vek/platform/wide_win32.h"

namespace {

using namespace plugins::mail_processing;
using namespace reference_product;

vek::RefPtr<InProcessProduct> ProductIn(const std::filesystem::path& folder,
                                        const std::string& languages) {
    const Log silent = [](std::string_view) {};
    auto product = vek::MakeObject<InProcessProduct>(nullptr);
    const vek::RefPtr<plugins::product::ILocalization> texts = vek::MakeObject<LocalizationService>(
        std::make_shared<TextFolder>(folder / "texts", silent), folder / "resources", languages);
    product->Offer(plugins::product::ILocalization::kInterfaceId, texts);
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

// A page in its window.
struct ShownPage {
    // `languages` are its user's. Raises std::runtime_error when it cannot be shown.
    ShownPage(const std::string& page_name, const std::filesystem::path& folder,
              const std::string& languages)
        : services([&](vek::RefPtr<plugins::ILoader>& loader) {
              loader = ProductIn(folder, languages);
              return vek::result::kOk;
          }) {
        const auto create =
            page_name == "unable_to_connect" ? CreatePageUnableToConnect : CreatePageAntivirus;
        vek::RefPtr<IUnknown> page;
        HRESULT code = create({.services = services}, ::GetModuleHandleW(nullptr), IID_IUnknown,
                              page.put_void());
        if (SUCCEEDED(code)) code = host->Open(page.get());
        if (FAILED(code)) throw std::runtime_error("the page fails with " + std::to_string(code));
    }
    ~ShownPage() { host->Close(); }
    ShownPage(const ShownPage&) = delete;
    ShownPage& operator=(const ShownPage&) = delete;

    RECT place() const {
        RECT place{};
        ::GetWindowRect(host->frame(), &place);
        return place;
    }

    plugins::loader::ServiceAccess services;
    const vek::RefPtr<sandbox::outlook::PageHost> host =
        vek::MakeObject<sandbox::outlook::PageHost>();
};

using ShownPages = std::list<ShownPage>;

// The page in each language that the folder has, row by row.
void ShowLanguages(const std::filesystem::path& folder, ShownPages& pages) {
    constexpr LONG kInRow = 4;
    std::set<std::string> tags;
    for (const auto& file : std::filesystem::directory_iterator(folder / "texts"))
        tags.insert(file.path().stem().string());
    LONG number = 0;
    for (const std::string& tag : tags) {
        const ShownPage& page = pages.emplace_back("antivirus", folder, tag);
        const RECT place = page.place();
        const LONG width = place.right - place.left, height = place.bottom - place.top;
        ::SetWindowTextW(page.host->frame(), vek::platform::ToWide(tag).c_str());
        ::SetWindowPos(page.host->frame(), nullptr, number % kInRow * width,
                       number / kInRow * height, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
        ++number;
    }
}

int Show(const std::string& page_name, const std::filesystem::path& folder, int seconds) {
    const auto begun = std::chrono::steady_clock::now();
    ShownPages pages;
    if (page_name == "languages")
        ShowLanguages(folder, pages);
    else
        pages.emplace_back(page_name, folder, vek::platform::UserLanguages());
    RECT all{};
    for (const ShownPage& page : pages) {
        ::RedrawWindow(page.host->frame(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
        const RECT place = page.place(), before = all;
        ::UnionRect(&all, &before, &place);
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begun;
    std::printf("%.1f ms, %ld %ld %ld %ld\n", took.count(), all.left, all.top, all.right,
                all.bottom);
    std::fflush(stdout);
    std::thread(WaitForEndOfInput).detach();
    pages.front().host->RunUntil([] { return input_has_ended.load(); },
                                 std::chrono::seconds(seconds));
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
        std::fputs("mlxo_page_host antivirus|unable_to_connect|languages FOLDER SECONDS\n", stderr);
        return 2;
    }
    if (FAILED(::OleInitialize(nullptr))) return 1;
    ::SetProcessDPIAware();
    int code = 1;
    try {
        code = Show(argv[1], argv[2], seconds);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
    }
    ::OleUninitialize();
    return code;
}
