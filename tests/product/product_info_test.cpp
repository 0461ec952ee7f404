#include <gmock/gmock.h>

#include "common/product_info/product_info.h"
#include "product/state/process_start.h"
#include "product/state/run_folder.h"
#include "product/state/text_file.h"
#include "tests/support/installed_product.h"
#include "tests/support/recording_tracer.h"
#include "vek/core/exception.h"
#include "vek/platform/thread.h"

namespace reference_product {
namespace {

namespace result = vek::result;
using namespace plugins::product_info;

// A product whose real library lies in a folder of its own.
struct Installed {
    Installed() { std::filesystem::copy_file(MLXO_PRODUCT_LIBRARY, PathOf(library)); }

    vek::result_t Address(RemoteAddress& address) {
        try {
            address = FindProduct(environment);
            return result::kOk;
        } catch (const vek::CodeCarrier& exception) {
            return exception.code();
        }
    }

    void Write(const char* file, std::string_view text) {
        ReplaceTextFile(folder.path() / file, text);
    }

    const tests::TemporaryFolder folder;
    const std::string library =
        tests::Utf8(folder.path() / std::filesystem::path(MLXO_PRODUCT_LIBRARY).filename());
    tests::InstalledAt place{library};
    const std::shared_ptr<tests::RecordingTracer> tracer =
        std::make_shared<tests::RecordingTracer>();
    const LibraryEnvironment environment{vek::platform::TheLibraryLoader(), place, tracer};
};

TEST(ProductInfoLibrary, SaysWhereTheProcessIsWhileItRuns) {
    const std::uint32_t id = vek::platform::CurrentProcessId();
    const RunningProduct self{id, ProcessStart(id).value(), 0, 4711};
    RunningProduct ended = self, another = self;
    ended.process_id = 0x7FFFFFFC;
    another.started += 1;
    Installed product;
    const RunFolder folder(product.folder.path());

    RemoteAddress address{};
    EXPECT_EQ(product.Address(address), result::kNotReady);
    for (const RunningProduct& stale : {ended, another}) {
        folder.Publish(stale);
        EXPECT_EQ(product.Address(address), result::kNotReady);
    }
    folder.Publish(self);
    EXPECT_EQ(product.Address(address), result::kOk);
    EXPECT_EQ(address.local_id, 0u);
    EXPECT_EQ(address.tcp_port, 4711);
    EXPECT_EQ(address.process_id, id);

    folder.Withdraw(another);  // an older process leaves the newer one's file
    EXPECT_EQ(folder.Running(), self);
    folder.Withdraw(self);
    EXPECT_EQ(product.Address(address), result::kNotReady);
}

TEST(ProductInfoLibrary, TakesNoAddressFromABrokenFile) {
    Installed product;
    const std::uint32_t id = vek::platform::CurrentProcessId();
    const std::string start = std::to_string(ProcessStart(id).value());
    const std::string process = R"({"process_id": )" + std::to_string(id) + R"(, "started": )";
    const std::string good = process + start + R"(, "local_id": 1, "tcp_port": 0})";
    std::vector<std::string> broken{
        process + start + R"(, "local_id": 0, "tcp_port": 0})",
        process + start + R"(, "local_id": 1, "tcp_port": 65536})",
        process + start + R"(, "local_id": -1, "tcp_port": 0})",
        process + start + R"(, "local_id": 1.5, "tcp_port": 0})",
        process + start + R"(, "local_id": 4294967296, "tcp_port": 0})",
        process + start + R"(, "local_id": "1", "tcp_port": 0})",
        process + start + R"(, "local_id": 1, "tcp_port": 0, "more": 0})",
        process + R"(null, "local_id": 1, "tcp_port": 0})",
        good + "x",
        std::string(100, '\0'),
        std::string(50000, '['),
        good + std::string(kLongestTextFile, ' '),
        "[1, 2, 3, 4]",
        "\xFF\xFE",
    };
    for (std::size_t length = 0; length < good.size(); length += 9)  // half written
        broken.push_back(good.substr(0, length));
    RemoteAddress address{};
    for (const std::string& text : broken) {
        product.Write("running.json", text);
        EXPECT_EQ(product.Address(address), result::kInvalidType) << text.substr(0, 100);
        EXPECT_EQ(address.process_id, 0u);
    }
    product.Write("running.json", good);
    EXPECT_EQ(product.Address(address), result::kOk);
}

TEST(InstalledProduct, GivesTheValuesOfTheLibrary) {
    const std::string longer(1000, 'x');
    const struct {
        std::string file, name;
        std::optional<std::string> expected;
    } kCases[] = {{R"({"TraceRoot": "%QZAppData%/trace"})", "TraceRoot", "%QZAppData%/trace"},
                  {R"({"TraceRoot": ""})", "TraceRoot", ""},
                  {R"({"TraceRoot": ")" + longer + "\"}", "TraceRoot", longer},
                  {R"({"TraceRoot": "a"})", "DataRoot", {}},
                  {R"({"TraceRoot": 5})", "TraceRoot", {}},
                  {R"(["TraceRoot"])", "TraceRoot", {}},
                  {R"({"TraceRoot": "a")", "TraceRoot", {}}};
    Installed product;
    const InstalledProduct info(product.environment);
    EXPECT_EQ(info.Value("TraceRoot"), std::nullopt);  // no file
    for (const auto& row : kCases) {
        product.Write("product_info.json", row.file);
        EXPECT_EQ(info.Value(row.name), row.expected) << row.file;
    }
    EXPECT_EQ(product.tracer->Count("500 Product information: "), 5u);
}

}  // namespace
}  // namespace reference_product
