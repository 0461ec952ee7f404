// The demo's program: checks the mails of a manifest with the plug-in and prints what came of it.
//
//   mlxo_demo --messages DIR --out DIR --rules FILE --report FILE

#include <exception>
#include <iostream>
#include <map>
#include <string>

#include "sandbox/demo/demo_run.h"
#include "sandbox/demo/report_file.h"

namespace {

constexpr int kNotAllChecked = 1;
constexpr int kUsage = 2;

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::filesystem::path> paths{
        {"--messages", {}}, {"--out", {}}, {"--rules", {}}, {"--report", {}}};
    bool understood = argc == 9;
    for (int i = 1; understood && i + 1 < argc; i += 2) {
        const auto option = paths.find(argv[i]);
        understood = option != paths.end();
        if (understood) option->second = argv[i + 1];
    }
    if (!understood) {
        std::cerr << "usage: mlxo_demo --messages DIR --out DIR --rules FILE --report FILE\n";
        return kUsage;
    }
    try {
        const auto outcome =
            sandbox::demo::Run({paths["--messages"], paths["--out"], paths["--rules"]});
        sandbox::demo::PrintTable(std::cout, outcome.results);
        sandbox::demo::WriteReport(paths["--report"], outcome.results);
        return outcome.all_checked ? 0 : kNotAllChecked;
    } catch (const std::exception& exception) {
        std::cerr << exception.what() << '\n';
        return kNotAllChecked;
    }
}
