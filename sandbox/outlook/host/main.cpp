// A stand-in Outlook that knows no add-in: it finds and drives those that are registered.
//
//   mlxo_host --scenario FILE [--ending exit | unticked] COMMON
//   mlxo_host --soak EVENTS [--seed N] COMMON
//   mlxo_host (--time | --bench) ROUNDS COMMON
//   mlxo_host --cycles N COMMON
//   mlxo_host --exits N COMMON
//
// COMMON is --messages DIR --out DIR --rules FILE --product DIR [--outlook VERSION] [--store NAME]
// [--product-option TEXT [--product-value TEXT] | --product-start never]
// [--no-process-access LIBRARIES]. --product is the folder of an installed product, whose process
// is started and stopped here, unless never is said; its first start has that option besides.
// scenario.md says what each way is.

#include <windows.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "product/state/text_file.h"
#include "sandbox/demo/scenario/parser.h"
#include "sandbox/demo/scenario/scenario_run.h"
#include "sandbox/outlook/host/host_player.h"
#include "sandbox/outlook/host/life.h"
#include "sandbox/outlook/host/process_access.h"

// The order matters: it needs windows.h.
#include <ole2.h>

namespace {

using namespace sandbox::host;
namespace demo = sandbox::demo;

constexpr int kWentWrong = 1;
constexpr int kUsage = 2;

using CommandLine = std::map<std::string, std::string, std::less<>>;

constexpr std::array<std::string_view, 7> kWays = {"--scenario", "--soak",  "--time", "--bench",
                                                   "--cycles",   "--exits", "--exit"};

// Nothing for arguments that cannot be understood.
bool Parse(int argc, char** argv, CommandLine& arguments) {
    constexpr std::array<std::string_view, 13> kNames = {"--seed",
                                                         "--ending",
                                                         "--messages",
                                                         "--out",
                                                         "--rules",
                                                         "--product",
                                                         "--stamp",
                                                         "--store",
                                                         "--product-start",
                                                         "--product-option",
                                                         "--product-value",
                                                         "--outlook",
                                                         "--no-process-access"};
    for (int i = 1; i < argc; i += 2) {
        const bool known = std::ranges::find(kNames, argv[i]) != kNames.end() ||
                           std::ranges::find(kWays, argv[i]) != kWays.end();
        if (!known || i + 1 == argc || !arguments.emplace(argv[i], argv[i + 1]).second)
            return false;
    }
    return std::ranges::count_if(kWays, [&](auto way) { return arguments.contains(way); }) == 1 &&
           arguments.contains("--messages") && arguments.contains("--out") &&
           arguments.contains("--rules") && arguments.contains("--product");
}

Ending EndingOf(const std::string& name) {
    if (name.empty()) return Ending::kNotified;
    if (name == "exit") return Ending::kExit;
    if (name == "unticked") return Ending::kUnticked;
    throw std::runtime_error("there is no ending " + name);
}

// The command line of a process that ends in the middle.
std::vector<std::string> ExitCommand(const CommandLine& arguments) {
    std::vector<std::string> command;
    for (const auto& [name, value] : arguments) {
        if (name == "--exits" || name.starts_with("--product-")) continue;
        command.push_back(name);
        command.push_back(value);
    }
    return command;
}

std::uint32_t Number(const std::string& text) {
    std::uint32_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || *rest != 0) throw std::runtime_error(text + " is no number");
    return number;
}

bool Run(const CommandLine& arguments) {
    using reference_product::PathOf;
    // Empty for one that is not given.
    const auto value = [&](std::string_view name) {
        const auto found = arguments.find(name);
        return found == arguments.end() ? std::string() : found->second;
    };
    HostOptions options;
    options.messages = PathOf(value("--messages"));
    options.out = PathOf(value("--out"));
    options.rules = PathOf(value("--rules"));
    options.product = PathOf(value("--product"));
    if (const std::string version = value("--outlook"); !version.empty()) options.version = version;
    if (const std::string name = value("--store"); !name.empty()) options.store = name;
    options.ending = EndingOf(value("--ending"));
    options.starts_product = value("--product-start") != "never";
    for (const char* const name : {"--product-option", "--product-value"})
        if (const std::string text = value(name); !text.empty())
            options.product_arguments.push_back(text);

    const std::string libraries = value("--no-process-access");
    if (!libraries.empty()) {
        options.each_product_arguments = {"--no-process-access"};
        RefuseProcessAccess(PathOf(libraries).wstring());
    }

    if (arguments.contains("--exit"))
        ExitInTheMiddle(options, Number(value("--exit")), PathOf(value("--stamp")));
    if (arguments.contains("--exits"))
        return RunExits(options, ExitCommand(arguments), Number(value("--exits")), std::cout);
    if (arguments.contains("--cycles"))
        return RunCycles(options, Number(value("--cycles")), std::cout);
    // Speed is judged where it is asked for alone: others may be at work on the machine.
    if (arguments.contains("--time")) {
        PrintTimes(options, Number(value("--time")), std::cout);
        return true;
    }
    if (arguments.contains("--bench"))
        return PrintTimes(options, Number(value("--bench")), std::cout);

    HostPlayer player(options);
    bool good = false;
    if (arguments.contains("--soak")) {
        const std::string seed = value("--seed");
        good = demo::RunSoak(player, {Number(value("--soak")), seed.empty() ? 1 : Number(seed)},
                             std::cout);
        player.StopProduct();
    } else {
        good =
            demo::RunScenario(player, demo::LoadScenario(PathOf(value("--scenario"))), std::cout);
    }
    good &= player.PrintAddins(std::cout);
    if (!libraries.empty()) {
        std::cout << libraries << " was refused " << RefusedAccesses() << " processes\n";
        good &= RefusedAccesses() != 0;
    }
    std::cout.flush();
    // The add-in is connected still, and so it stays.
    if (options.ending == Ending::kExit) ::ExitProcess(good ? 0 : kWentWrong);
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine arguments;
    if (!Parse(argc, argv, arguments)) {
        std::cerr << "usage: mlxo_host (--scenario FILE [--ending exit | unticked] | --soak EVENTS "
                     "[--seed N] |\n"
                     "                  --time ROUNDS | --bench ROUNDS | --cycles N | --exits N)\n"
                     "                 --messages DIR --out DIR --rules FILE --product DIR\n"
                     "                 [--outlook VERSION] [--store NAME]\n"
                     "                 [--product-option TEXT [--product-value TEXT] |\n"
                     "                  --product-start never] [--no-process-access LIBRARIES]\n";
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
