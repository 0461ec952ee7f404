#include "vek/core/throw.h"

namespace vek {

void ThrowResult(result_t code, SourcePlace place) { throw ResultCodeException(place, code); }

void ThrowBadQueryInterface(SourcePlace place) { throw BadQueryInterfaceException(place); }

}  // namespace vek
