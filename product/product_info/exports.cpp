#include "product/product_info/factory.h"
#include "product/state/places.h"
#include "vek/core/border.h"
#include "vek/core/ref_ptr.h"

extern "C" vek::result_t vekGetObjectFactory(vek::interface_id_t id, void** factory) {
    using namespace reference_product;
    if (factory == nullptr) return vek::result::kInvalidArgument;
    *factory = nullptr;
    return vek::AtBorder(
        [&] { return vek::MakeObject<InfoFactory>(ModuleFolder())->QueryInterface(id, factory); });
}
