// The demo's program: checks the mails of a manifest with the plug-in and prints the outcomes.
//
//   mlxo_demo --messages DIR --out DIR --report FILE --rules FILE [--store NAME]
//   mlxo_demo --messages DIR --out DIR --report FILE --product DIR [--store NAME]
//
// The scanner is in this process, with rules; or it is that of the installed product (see
// product_library.h), which runs in the folder that --product names. The mail lies in a store of
// store_traits.h, usually "usual".

#include <exception>
#include <iostream>
#include <map>
#include <string>

#include "mlxo_version.h"
#include "sandbox/demo/demo_run.h"

namespace {

constexpr int kNotAllChecked = 1;
constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string(argv[1]) == "--version") {
        std::cout << "mlxo_demo " MLXO_VERSION "\n";
        return 0;
    }
    std::map<std::string, std::filesystem::path> paths{{"--messages", {}}, {"--out", {}},
                                                       {"--rules", {}},    {"--report", {}},
                                                       {"--product", {}},  {"--store", "usual"}};
    bool understood = argc % 2 == 1;
    for (int i = 1; understood && i + 1 < argc; i += 2) {
        const auto option = paths.find(argv[i]);
        understood = option != paths.end();
        if (understood) option->second = argv[i + 1];
    }
    const auto* const store = sandbox::outlook::FindStore(paths["--store"].string());
    if (!understood || paths["--rules"].empty() == paths["--product"].empty() ||
        paths["--messages"].empty() || paths["--out"].empty() || paths["--report"].empty() ||
        store == nullptr) {
        std::cerr << "usage: mlxo_demo --messages DIR --out DIR --report FILE "
                     "(--rules FILE | --product DIR) [--store NAME]\n";
        return kUsage;
    }
    try {
        const auto outcome = sandbox::demo::Run(
            {paths["--messages"], paths["--out"], paths["--rules"], paths["--product"], *store});
        sandbox::demo::PrintTable(std::cout, outcome.results);
        sandbox::demo::WriteReport(paths["--report"], outcome.results);
        return outcome.all_checked ? 0 : kNotAllChecked;
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return kNotAllChecked;
    }
}
