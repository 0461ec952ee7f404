#include "vek/trace/line.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>
#include <vector>

#include "tests/support/allocation_probe.h"
#include "vek/trace/scope.h"

namespace {

using namespace vek::trace;
using ::testing::ElementsAre;

// Takes the lines up to a level.
class Recorder final : public Tracer {
public:
    explicit Recorder(level_t level) : level_(level) {}

    bool IsEnabled(level_t level) const noexcept override { return level <= level_; }
    void Write(level_t, std::string_view text) noexcept override { lines.emplace_back(text); }

    std::vector<std::string> lines;

private:
    level_t level_;
};

// Counts how often it is formatted.
struct Counted {
    int& count;
};
void AppendPiece(std::string& line, Counted piece) {
    ++piece.count;
    line += "a text that is longer than what a string keeps without an allocation";
}

TEST(Line, IsMadeOfItsPieces) {
    const auto recorder = std::make_shared<Recorder>(level::kDetail);
    const std::string entry_id = "00FFab";
    Write(recorder, level::kDetail, "id: ", entry_id, u" \u00FC\U0001F600 ", std::u16string(u"w"));
    Write(recorder, level::kDetail, Hex(std::int32_t{-1}), Hex(0x8004010Fu), Hex(0));
    Write(recorder, level::kDetail, Hex(std::uint64_t{0x0123456789ABCDEF}));
    Write(recorder, level::kDetail, std::uint8_t{200}, "/", std::int16_t{-7}, "/",
          std::numeric_limits<std::int64_t>::min(), "/", std::numeric_limits<std::uint64_t>::max());
    EXPECT_THAT(recorder->lines, ElementsAre("id: 00FFab \u00FC\U0001F600 w",
                                             "0xffffffff0x8004010f0x00000000", "0x0123456789abcdef",
                                             "200/-7/-9223372036854775808/18446744073709551615"));
}

TEST(Line, IsNotFormattedWhenItIsNotTaken) {
    int formatted = 0;
    const TracerPtr tracers[] = {std::make_shared<Recorder>(level::kWarning), nullptr};
    {
        const tests::AllocationProbe probe;
        for (const TracerPtr& each : tracers) {
            Write(each, level::kWarning + 1, Counted{formatted}, Hex(1u), u"wide");
        }
        EXPECT_EQ(probe.count(), 0u);
    }
    Write(tracers[0], level::kWarning, Counted{formatted});
    EXPECT_EQ(formatted, 1);
}

TEST(Scope, WritesItsNameOnEntryAndOnEveryExit) {
    const auto recorder = std::make_shared<Recorder>(level::kDetail);
    try {
        const Scope scope(recorder, "ProcessMessage");
        throw std::runtime_error("no session");
    } catch (...) {
        WriteCurrentException(recorder, "Failed: ");
    }
    EXPECT_THAT(recorder->lines,
                ElementsAre("=> ProcessMessage", "<= ProcessMessage", "Failed: no session"));
}

}  // namespace
