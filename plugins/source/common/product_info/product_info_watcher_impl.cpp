#include "common/product_info/product_info_watcher_impl.h"

#include <utility>

#include "vek/trace/traced_border.h"

namespace plugins::product_info {
namespace {

constexpr std::uint32_t kPauseBetweenLooks = 30'000;  // ms

// Compares what is installed with what was.
class InstallationSubscriber final : public vek::ObjectImpl<common::IRegistrySubscriber> {
public:
    InstallationSubscriber(const LibraryEnvironment& environment, std::function<void()> on_change)
        : registry_(environment.registry),
          tracer_(environment.tracer),
          on_change_(std::move(on_change)),
          known_(InstalledLibrary(registry_)) {}

    // One call at a time. What lies below the key says nothing of the way to the product.
    void changed(const helpers::RegistryKeyPath&) override {
        if (auto now = InstalledLibrary(registry_); now != known_) {
            known_ = std::move(now);
            vek::trace::Write(tracer_, vek::trace::level::kDetail, "The installed product has ",
                              known_ ? "changed" : "gone");
            on_change_();
        }
    }

private:
    helpers::Registry& registry_;
    const vek::trace::TracerPtr tracer_;
    const std::function<void()> on_change_;
    std::optional<LibraryName> known_;
};

}  // namespace

ProductInfoWatcher::ProductInfoWatcher(vek::RefPtr<common::IRegistryWatcher> registry,
                                       LibraryEnvironment environment,
                                       std::function<void()> on_change)
    : registry_(std::move(registry)),
      tracer_(environment.tracer),
      clock_(environment.clock),
      subscriber_(vek::MakeObject<InstallationSubscriber>(environment, std::move(on_change))),
      looked_at_(clock_.TickCount()) {
    try {
        registry_->Subscribe(ProductKey(), subscriber_);
    } catch (...) {  // it may be subscribed all the same
        vek::trace::TracedBorder(tracer_, [&] { registry_->Unsubscribe(subscriber_.get()); });
        throw;
    }
}

ProductInfoWatcher::~ProductInfoWatcher() {
    vek::trace::TracedBorder(tracer_, [&] { registry_->Unsubscribe(subscriber_.get()); });
}

void ProductInfoWatcher::OnAttempt() noexcept {
    const std::uint32_t now = clock_.TickCount();
    std::uint32_t before = looked_at_;
    if (now - before < kPauseBetweenLooks || !looked_at_.compare_exchange_strong(before, now))
        return;
    vek::trace::TracedBorder(tracer_, [&] { registry_->LookAgain(); });
}

}  // namespace plugins::product_info
