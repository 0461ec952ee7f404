#include "vek/core/throw.h"

namespace vek {

void ThrowResult(result_t code, SourceLocation place) { throw ResultCodeException(place, code); }

void ThrowBadQueryInterface(SourceLocation place) { throw BadQueryInterfaceException(place); }

}  // namespace vek
