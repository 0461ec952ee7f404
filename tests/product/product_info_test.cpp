#include <gmock/gmock.h>

#include "common/product_info/product_info.h"
#include "product/state/process_start.h"
#include "product/state/run_folder.h"
#include "product/state/text_file.h"
#include "tests/support/installed_product.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/border.h"
#include "vek/platform/thread.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using namespace plugins::product_info;

// A product whose real library lies in a folder of its own, and whose process is this one.
struct Installed {
    Installed() { std::filesystem::copy_file(MLXO_PRODUCT_LIBRARY, PathOf(library)); }
    vek::result_t Find() {
        return vek::AtBorder([&] {
            const ProductProcess process = FindProduct(environment);
            address = process.address;
            EXPECT_EQ(PathOf(process.image).stem(), "mlxo_product");
        });
    }
    void Write(const char* file, std::string_view text) {
        ReplaceTextFile(folder.path() / file, text);
    }

    const tests::TemporaryFolder folder;
    const std::string library =
        tests::Utf8(folder.path() / std::filesystem::path(MLXO_PRODUCT_LIBRARY).filename());
    tests::InstalledAt registry{library};
    const std::shared_ptr<tests::RecordingTracer> tracer =
        std::make_shared<tests::RecordingTracer>();
    const LibraryEnvironment environment{vek::platform::TheLibraryLoader(), registry, tracer,
                                         std::make_shared<LibraryKeeper>()};
    const std::uint32_t id = vek::platform::CurrentProcessId();
    const std::uint64_t started = ProcessStart(id).value();
    RemoteAddress address{};
};

TEST(ProductInfoLibrary, SaysWhereTheProcessIsWhileItRuns) {
    Installed product;
    const RunningProduct self{product.id, product.started, 0, 4711};
    RunningProduct ended = self, another = self;
    ended.process_id = 0x7FFFFFFC;
    another.started += 1;
    const RunFolder folder(product.folder.path());

    EXPECT_EQ(product.Find(), result::kNotReady);
    for (const RunningProduct& stale : {ended, another}) {
        folder.Publish(stale);
        EXPECT_EQ(product.Find(), result::kNotReady);
    }
    folder.Publish(self);
    EXPECT_EQ(product.Find(), result::kOk);
    EXPECT_EQ(product.address.local_id, 0u);
    EXPECT_EQ(product.address.tcp_port, 4711);
    EXPECT_EQ(product.address.process_id, product.id);

    folder.Withdraw(another);  // an older process leaves the newer one's file
    EXPECT_EQ(folder.Running(), self);
    folder.Withdraw(self);
    EXPECT_EQ(product.Find(), result::kNotReady);
}

TEST(ProductInfoLibrary, TakesNoAddressFromABrokenFile) {
    Installed product;
    const std::string begin = R"({"process_id": )" + std::to_string(product.id) +
                              R"(, "started": )" + std::to_string(product.started);
    const std::string good = begin + R"(, "local_id": 1, "tcp_port": 0})";
    const std::string longest = good + std::string(kLongestTextFile - good.size(), ' ');
    std::vector<std::string> broken{good + "x", longest + ' ', std::string(50000, '['),
                                    "[1, 2, 3, 4]", "\xFF\xFE"};
    for (const char* address : {R"(0, "tcp_port": 0)", R"(1, "tcp_port": 65536)",
                                R"(-1, "tcp_port": 0)", R"(4294967296, "tcp_port": 0)",
                                R"("1", "tcp_port": 0)", R"(1, "tcp_port": 0, "more": 0)"})
        broken.push_back(begin + R"(, "local_id": )" + address + "}");
    for (std::size_t length = 0; length < good.size(); length += 9)  // half written
        broken.push_back(good.substr(0, length));
    for (const std::string& text : broken) {
        product.Write("running.json", text);
        EXPECT_EQ(product.Find(), result::kInvalidType) << text.substr(0, 100);
    }
    for (const std::string& text : {longest, good}) {
        product.Write("running.json", text);
        EXPECT_EQ(product.Find(), result::kOk);
    }
}

TEST(InstalledProduct, GivesTheValuesOfTheLibrary) {
    const std::pair<std::string, std::optional<std::string>> kCases[] = {
        {R"({"TraceRoot": "%QZAppData%/trace"})", "%QZAppData%/trace"},
        {R"({"TraceRoot": ")" + std::string(300, 'a') + "\"}", std::string(300, 'a')},
        {R"({"TraceRoot": ""})", ""},
        {R"({"TraceRoot": 5})", {}},
        {R"({"TraceRoot": "a")", {}}};
    Installed product;
    const InstalledProduct info(product.environment);
    EXPECT_EQ(info.Value("TraceRoot"), std::nullopt);  // no file
    for (const auto& [file, expected] : kCases) {
        product.Write("product_info.json", file);
        EXPECT_EQ(info.Value("TraceRoot"), expected) << file;
    }
    EXPECT_EQ(product.tracer->Count("300 Product information: "), 3u);

    const std::pair<std::string, unsigned> kLevels[] = {
        {"", 500}, {"x", 500}, {"7x", 500}, {"-1", 500}, {"700", 700}, {"9999999999", 700}};
    vek::trace::FileTracerConfig trace{.folder = "folder", .name = "", .version = ""};
    for (const auto& [level, expected] : kLevels) {
        product.Write("product_info.json", R"({"TraceRoot": "%QZAppData%/a %QZAppData%",
                                               "TraceLevel": ")" +
                                               level + "\"}");
        ReadTraceValues(info, trace);
        EXPECT_EQ(trace.level, expected) << level;
    }
    EXPECT_EQ(trace.folder, "folder");
    const tests::ScopedEnvironment variable("QZAppData", "C:/Data");
    ReadTraceValues(info, trace);
    EXPECT_EQ(trace.folder, "C:/Data/a %QZAppData%");
    EXPECT_EQ(ExpandRoot("D:/%QZAppData%"), "D:/%QZAppData%");
}

}  // namespace
}  // namespace reference_product
