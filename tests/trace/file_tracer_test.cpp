#include "vek/trace/file_tracer.h"

#include <gtest/gtest.h>

#include "common/product_info/product_info.h"
#include "tests/support/scoped_environment.h"
#include "tests/support/temporary_folder.h"
#include "vek/platform/thread.h"
#include "vek/trace/line.h"

namespace {

namespace fs = std::filesystem;
namespace product_info = plugins::product_info;
using namespace vek::trace;

class Product final : public product_info::ProductInfo {
public:
    std::optional<std::string> Value(std::string_view name) const override {
        if (name == "TraceRoot") return "%QZAppData%/Trace";
        return std::nullopt;
    }
};

TEST(ProductInfo, ExpandsTheVariableAtTheVeryBeginning) {
    EXPECT_EQ(product_info::ExpandRoot("%QZAppData%/Trace"), std::nullopt);
    const tests::ScopedEnvironment variable("QZAppData", "C:/Data");
    const std::pair<const char*, const char*> cases[] = {
        {"%QZAppData%", "C:/Data"},
        {"%QZAppData%\\a %QZAppData%", "C:/Data\\a %QZAppData%"},
        {"D:/%QZAppData%", "D:/%QZAppData%"},
        {"", ""},
    };
    for (const auto& [root, expected] : cases) {
        EXPECT_EQ(product_info::ExpandRoot(root), expected) << root;
    }
    EXPECT_EQ(product_info::Folder(Product(), product_info::kTraceRoot), "C:/Data/Trace");
    EXPECT_EQ(product_info::Folder(Product(), product_info::kDataRoot), std::nullopt);
}

TEST(FileTracer, MakesItsFolderAndAFileOfTheProcess) {
    const tests::TemporaryFolder folder;
    FileTracerConfig config{.folder = std::nullopt, .name = "mlxo", .version = "1"};
    const std::string name =
        "mlxo.vek_tests." + std::to_string(vek::platform::CurrentProcessId()) + ".log";
    EXPECT_EQ(TraceLocation(config), tests::Utf8(fs::temp_directory_path() / name));

    const fs::path path = folder.path() / u8"\u00FC" / "deep" / name;
    config.folder = tests::Utf8(path.parent_path());
    config.level = level::kError;
    TracerPtr tracer = OpenFileTracer(config);
    Write(tracer, level::kError, "kept");
    Write(tracer, level::kWarning, "not taken");
    EXPECT_TRUE(tests::ReadFile(path).ends_with("\t300\tkept\r\n"));
    tracer.reset();
    EXPECT_NE(tests::ReadFile(path).find("End of trace file, local time: "), std::string::npos);
}

}  // namespace
