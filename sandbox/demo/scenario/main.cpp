// Plays a scenario, or a random one, with the add-in in a stand-in Outlook.
//
//   mlxo_scenario --scenario FILE --messages DIR --out DIR --rules FILE [--product DIR]
//                 [--outlook VERSION] [--store NAME]
//   mlxo_scenario --soak EVENTS [--seed N] --messages DIR --out DIR --rules FILE
//                 [--outlook VERSION] [--store NAME]
//   mlxo_scenario --damage LIST --messages DIR --out FILE --rules FILE [--product DIR]
//                 [--store NAME]
//   mlxo_scenario (--silent-at STEP | --stopped-at STEP) --product DIR --messages DIR --out DIR
//                 --rules FILE
//
// The third says of messages that another program has saved which of their places no check has made
// so. LIST is a JSON array of objects with "mail", "file" and "checks", which FILE has with
// "damage", an array of places, besides. The last prints how long Outlook's thread is held when the
// product falls silent (product.md). The scanner is in this process, or it is that of the product
// that is installed in the folder of
// --product (product_library.h), whose process is started and stopped here. The
// mail lies in a store of store_traits.h, usually "usual".

#include <array>
#include <charconv>
#include <exception>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "mlxo_version.h"
#include "product/state/text_file.h"
#include "sandbox/demo/scenario/parser.h"
#include "sandbox/demo/scenario/player.h"
#include "sandbox/demo/scenario/silence.h"
#include "sandbox/outlook/message_file.h"

namespace {

using namespace sandbox::demo;

constexpr int kWentWrong = 1;
constexpr int kUsage = 2;

using Arguments = std::map<std::string, std::string, std::less<>>;

// Nothing for arguments that cannot be understood.
bool Parse(int argc, char** argv, Arguments& arguments) {
    constexpr std::array<std::string_view, 12> kNames = {
        "--scenario", "--soak",    "--seed",  "--messages",  "--out",        "--rules",
        "--product",  "--outlook", "--store", "--silent-at", "--stopped-at", "--damage"};
    for (int i = 1; i < argc; i += 2) {
        if (std::find(kNames.begin(), kNames.end(), argv[i]) == kNames.end() || i + 1 == argc ||
            !arguments.emplace(argv[i], argv[i + 1]).second)
            return false;
    }
    int ways = 0;
    for (const char* const way :
         {"--scenario", "--soak", "--silent-at", "--stopped-at", "--damage"})
        ways += arguments.contains(way) ? 1 : 0;
    return ways == 1 && arguments.contains("--messages") && arguments.contains("--out") &&
           arguments.contains("--rules");
}

std::uint32_t Number(const std::string& text) {
    std::uint32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || *rest != 0) throw std::runtime_error(text + " is no number");
    return number;
}

void LookForDamage(const PlayerOptions& options, const std::filesystem::path& list) {
    sandbox::outlook::MapiSubsystem mapi(options.store);
    MailShelf shelf(options.messages);
    DamageFinder finder(mapi, options.rules, options.product.folder);
    auto messages = nlohmann::json::parse(reference_product::ReadTextFile(list).value_or(""));
    for (auto& each : messages) {
        const std::string mail = each.at("mail");
        each["damage"] = finder.Find(mail, shelf.Find(mail),
                                     sandbox::outlook::LoadMessageFile(reference_product::PathOf(
                                         each.at("file").get<std::string>())),
                                     each.at("checks"));
    }
    reference_product::ReplaceTextFile(options.out, messages.dump(1));
}

bool Run(Arguments& arguments) {
    using reference_product::PathOf;
    PlayerOptions options;
    options.messages = PathOf(arguments["--messages"]);
    options.out = PathOf(arguments["--out"]);
    options.rules = PathOf(arguments["--rules"]);
    options.product.folder = PathOf(arguments["--product"]);
    if (const std::string& version = arguments["--outlook"]; !version.empty())
        options.version = version;
    if (const std::string& name = arguments["--store"]; !name.empty()) {
        const auto* const store = sandbox::outlook::FindStore(name);
        if (store == nullptr) throw std::runtime_error("there is no store " + name);
        options.store = *store;
    }
    if (const auto soak = arguments.find("--soak"); soak != arguments.end()) {
        const std::string& seed = arguments["--seed"];
        return RunSoak(options, {Number(soak->second), seed.empty() ? 1 : Number(seed)}, std::cout);
    }
    if (const auto list = arguments.find("--damage"); list != arguments.end()) {
        LookForDamage(options, PathOf(list->second));
        return true;
    }
    for (const char* const silence : {"--silent-at", "--stopped-at"}) {
        if (!arguments.contains(silence)) continue;
        options.product.first_arguments = {silence, arguments[silence]};
        for (const char* const first : kSilentEvents) {
            std::cout << "silent in: " << first << '\n';
            for (const HeldTime& held : MeasureSilence(options, first))
                std::cout << "  " << held.event << ": " << held.time.count() << " us\n";
        }
        return true;
    }
    return RunScenario(options, LoadScenario(PathOf(arguments["--scenario"])), std::cout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::string(argv[1]) == "--version") {
        std::cout << "mlxo_scenario " MLXO_VERSION "\n";
        return 0;
    }
    Arguments arguments;
    if (!Parse(argc, argv, arguments)) {
        std::cerr << "usage: mlxo_scenario (--scenario FILE [--product DIR] | --soak EVENTS "
                     "[--seed N] |\n"
                     "                      (--silent-at STEP | --stopped-at STEP) --product DIR)\n"
                     "                     --messages DIR --out DIR --rules FILE [--outlook "
                     "VERSION] [--store NAME]\n";
        return kUsage;
    }
    try {
        return Run(arguments) ? 0 : kWentWrong;
    } catch (const ScenarioError& error) {
        std::cerr << error.what() << '\n';
        return kUsage;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return kWentWrong;
    }
}
