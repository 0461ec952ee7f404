#pragma once

#include <algorithm>
#include <chrono>
#include <thread>

#include "common/loader/product_loader.h"
#include "product/state/run_folder.h"
#include "product/state/text_file.h"
#include "sandbox/child_process/child_process.h"
#include "tests/support/installed_product.h"

namespace tests {

// A product that is installed in a folder of its own, and its process.
class ProductFolder {
public:
    explicit ProductFolder(std::string_view rules) {
        namespace fs = std::filesystem;
        for (const auto& file :
             fs::directory_iterator(sandbox::ProgramFolder().parent_path() / "product")) {
            const fs::path copy = folder_.path() / file.path().filename();
            const bool is_library = copy.stem() == "product_info" && copy.extension() != ".json";
            if (is_library) library_ = Utf8(copy);
            if (is_library || copy.stem() == "mlxo_product") fs::copy(file.path(), copy);
        }
        reference_product::ReplaceTextFile(folder_.path() / "sample.rules", rules);
    }

    // Whether it can be reached afterwards.
    bool Start(std::vector<std::string> arguments = {}) {
        const reference_product::RunFolder folder(folder_.path());
        arguments.insert(arguments.end(), {"--folder", path()});
        process_ = Launch(arguments);
        return Soon([&] { return folder.Running().has_value(); });
    }
    bool Kill() { return process_->Kill(), true; }
    // Whether it went in order, and has let go of everything.
    bool Stop() {
        return Launch({"--folder", path(), "--stop"})->Wait() == 0 && process_->Wait() == 0 &&
               log().ends_with("  stopped\n") &&
               Logged("objects left: 0\n") == Logged("  stopped\n");
    }

    // Starts the product's program.
    std::unique_ptr<sandbox::ChildProcess> Launch(const std::vector<std::string>& arguments) const {
        return sandbox::StartProgram(folder_.path() / "mlxo_product", arguments);
    }

    std::string path() const { return Utf8(folder_.path()); }
    const std::string& library() const { return library_; }
    std::string log() const { return ReadFile(folder_.path() / "product.log"); }
    // How often the log says `part`.
    int Logged(std::string_view part) const {
        const std::string text = log();
        int count = 0;
        for (std::size_t at = 0; (at = text.find(part, at)) != text.npos; ++at) ++count;
        return count;
    }

    // Waits until it is so; false when it is not in 10 s.
    template <class Condition>
    static bool Soon(const Condition& condition) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

private:
    const TemporaryFolder folder_;
    std::string library_;
    std::unique_ptr<sandbox::ChildProcess> process_;
};

}  // namespace tests
