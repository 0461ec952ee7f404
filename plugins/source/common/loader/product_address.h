#pragma once

#include "common/product_info/product_library.h"

namespace plugins::loader {

// Where the installed product's process can be reached now. The information library is loaded for
// this and unloaded again: the product may be replaced while the mail program runs. Makes no call
// to the process, and does not wait. May be called from any thread.
//
// Raises vek::ResultCodeException with a code of ProductLibrary (product_library.h), or with
//   kNotReady     the product does not run
//   kUnexpected   it claims success and gives nothing
product_info::RemoteAddress FindProduct(const product_info::LibraryEnvironment& environment);

}  // namespace plugins::loader
