#include "sandbox/demo/scenario/player.h"

#include <utility>

#include "mlxo_version.h"
#include "product/state/text_file.h"
#include "vek/core/object.h"

namespace sandbox::demo {
namespace {

// Small, so that the trace is rotated many times.
constexpr std::uint64_t kSoakTraceBytes = 256 << 10;

vek::trace::FileTracerConfig TraceConfig(const PlayerOptions& options,
                                         const ReachableProduct& product) {
    vek::trace::FileTracerConfig config;
    config.folder = reference_product::PathText(options.out / "trace");
    config.name = "mlxo";
    config.version = MLXO_VERSION;
    config.level = vek::trace::level::kDetail;
    config.max_size = options.trace_bytes;
    product.SetTrace(config);
    return config;
}

std::uint64_t Size(const std::filesystem::path& folder) {
    std::uint64_t size = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) size += file.file_size();
    return size;
}

}  // namespace

Player::Player(PlayerOptions options)
    : EventPlayer(options.messages, options.store, options.version, outlook::ThreadChoice::kOwn),
      options_(std::move(options)),
      product_(options_.product.folder.empty()
                   ? MakeLocalProduct(options_.rules)
                   : MakeRemoteProduct(options_.product, options_.rules)),
      trace_(TraceConfig(options_, *product_)),
      tracer_(vek::trace::OpenFileTracer(trace_)),
      services_(product_->Loader(tracer_)),
      addin_(host(), services_, clock_, tracer_, scoreboard_, options_.event_wait) {
    StartProduct();
}

Player::~Player() = default;

std::filesystem::path Player::trace_folder() const {
    return reference_product::PathOf(*trace_.folder);
}

void Player::FindDamage(std::vector<Inspected>& messages) {
    if (!damage_)
        damage_ = std::make_unique<DamageFinder>(mapi(), options_.rules, options_.product.folder);
    for (auto& [message, now, damage] : messages)
        if (now)
            damage = damage_->Find(message.mail, shelf().Find(message.mail), *now, message.checks);
}

bool RunScenario(const PlayerOptions& options, const std::vector<ScenarioEvent>& events,
                 std::ostream& out) {
    Player player(options);
    return RunScenario(player, events, out);
}

bool RunSoak(const PlayerOptions& given, const SoakOptions& soak, std::ostream& out) {
    PlayerOptions options = given;
    options.trace_bytes = kSoakTraceBytes;
    const std::uint32_t objects = vek::LiveObjectCount();
    std::uint64_t trace = 0;
    bool good = true;
    {
        Player player(options);
        good = RunSoak(player, soak, out);
        trace = Size(player.trace_folder());
    }
    const std::uint32_t left = vek::LiveObjectCount() - objects;
    out << "objects of the plug-in and the product left: " << left << '\n'
        << "trace files: " << trace << " bytes of " << 2 * kSoakTraceBytes << " at most\n";
    return good && left == 0 && trace <= 2 * kSoakTraceBytes;
}

}  // namespace sandbox::demo
