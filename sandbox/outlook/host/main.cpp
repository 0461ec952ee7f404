// A stand-in Outlook that knows no add-in: it finds and drives those that are registered.
//
//   mlxo_host --scenario FILE [--shutdown fast] COMMON
//   mlxo_host --soak EVENTS [--seed N] COMMON
//
// COMMON is --messages DIR --out DIR --rules FILE --product DIR [--outlook VERSION] [--store NAME].
// --product is the folder of an installed product, whose process is started and stopped here.

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>

#include "product/state/text_file.h"
#include "sandbox/demo/scenario/parser.h"
#include "sandbox/demo/scenario/scenario_run.h"
#include "sandbox/outlook/host/host_player.h"

// The order matters: it needs windows.h.
#include <ole2.h>

namespace {

using namespace sandbox::host;
namespace demo = sandbox::demo;

constexpr int kWentWrong = 1;
constexpr int kUsage = 2;

using CommandLine = std::map<std::string, std::string, std::less<>>;

// Nothing for arguments that cannot be understood.
bool Parse(int argc, char** argv, CommandLine& arguments) {
    constexpr std::array<std::string_view, 10> kNames = {
        "--scenario", "--soak",  "--seed",    "--shutdown", "--messages",
        "--out",      "--rules", "--product", "--outlook",  "--store"};
    for (int i = 1; i < argc; i += 2) {
        if (std::ranges::find(kNames, argv[i]) == kNames.end() || i + 1 == argc ||
            !arguments.emplace(argv[i], argv[i + 1]).second)
            return false;
    }
    return arguments.contains("--scenario") != arguments.contains("--soak") &&
           arguments.contains("--messages") && arguments.contains("--out") &&
           arguments.contains("--rules") && arguments.contains("--product");
}

std::uint32_t Number(const std::string& text) {
    std::uint32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || *rest != 0) throw std::runtime_error(text + " is no number");
    return number;
}

bool Run(CommandLine& arguments) {
    using reference_product::PathOf;
    HostOptions options;
    options.messages = PathOf(arguments["--messages"]);
    options.out = PathOf(arguments["--out"]);
    options.rules = PathOf(arguments["--rules"]);
    options.product = PathOf(arguments["--product"]);
    if (const std::string& version = arguments["--outlook"]; !version.empty())
        options.version = version;
    if (const std::string& name = arguments["--store"]; !name.empty()) options.store = name;
    options.shutdown_notifications = arguments["--shutdown"] != "fast";

    HostPlayer player(options);
    bool good = false;
    if (const auto soak = arguments.find("--soak"); soak != arguments.end()) {
        const std::string& seed = arguments["--seed"];
        good = demo::RunSoak(player, {Number(soak->second), seed.empty() ? 1 : Number(seed)},
                             std::cout);
        player.StopProduct();
    } else {
        good = demo::RunScenario(player, demo::LoadScenario(PathOf(arguments["--scenario"])),
                                 std::cout);
    }
    good &= player.PrintAddins(std::cout);
    std::cout.flush();
    // The add-in is connected still, and so it stays.
    if (!options.shutdown_notifications) ::ExitProcess(good ? 0 : kWentWrong);
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine arguments;
    if (!Parse(argc, argv, arguments)) {
        std::cerr << "usage: mlxo_host (--scenario FILE [--shutdown fast] | --soak EVENTS "
                     "[--seed N])\n"
                     "                 --messages DIR --out DIR --rules FILE --product DIR\n"
                     "                 [--outlook VERSION] [--store NAME]\n";
        return kUsage;
    }
    int code = kWentWrong;
    ::OleInitialize(nullptr);
    try {
        code = Run(arguments) ? 0 : kWentWrong;
    } catch (const demo::ScenarioError& error) {
        std::cerr << error.what() << '\n';
        code = kUsage;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
    }
    ::OleUninitialize();
    return code;
}
