#pragma once

#include <memory>
#include <thread>

#include "private_include/common/service_locator.h"
#include "product/caller.h"
#include "product/clamd/engine_choice.h"
#include "product/clean_memory.h"
#include "product/kept_store.h"
#include "product/process/product_options.h"
#include "product/product_log.h"
#include "product/report_lines.h"
#include "product/scanner_engine.h"
#include "product/settings_store.h"
#include "product/settings_window_service.h"
#include "product/status/find_history.h"
#include "product/status/settings_window_start.h"
#include "product/text_folder.h"
#include "vek/core/ref_ptr.h"

namespace reference_product {

// How the process that is started so has the settings window opened.
inline WindowRoad RoadOf(const ProductOptions& options) {
    return options.mode == ProgramMode::kScanner ? WindowRoad::kSession : WindowRoad::kProgram;
}

// What the product offers. Each caller has services of its own, over what there is once: the
// engines, the reports and finds, the settings, the texts, and what is remembered and kept. Any
// thread may use it.
class ProductServices {
public:
    // Raises std::exception when the rules cannot be read or a file cannot be opened.
    ProductServices(const ProductOptions& options, const Log& log, ReachStep reach);

    // The services as `caller` gets them. They may outlive this object.
    vek::RefPtr<plugins::IServiceLocator> MakeServices(const Caller& caller) const;

private:
    const bool scans_;
    const WindowRoad road_;
    const Log log_;
    const ReachStep reach_;
    const std::shared_ptr<ReportWriter> reports_;
    const std::shared_ptr<FindHistory> finds_;
    const std::shared_ptr<SettingsStore> settings_;
    const std::shared_ptr<EngineChoice> choice_;
    const std::shared_ptr<const ScannerEngine> engine_;
    const std::shared_ptr<CleanMemory> clean_;
    const std::shared_ptr<KeptStore> kept_;
    const std::shared_ptr<TextFolder> texts_;
    const std::filesystem::path resources_;
    const std::shared_ptr<WindowOpenings> openings_ = std::make_shared<WindowOpenings>();
    const std::jthread expiring_;  // of what is kept; ends with this object
};

}  // namespace reference_product
