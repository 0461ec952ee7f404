#include "product/process/service.h"

#include <iostream>

namespace reference_product {

ExitCode RunService(const ProductOptions&, std::span<char* const>) {
    std::cerr << "there is no service control manager here\n";
    return ExitCode::kCannotStart;
}

}  // namespace reference_product
