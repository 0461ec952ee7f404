#pragma once

// What may be changed in a message, which may be encrypted or signed, or have characters that a
// narrow text lacks. Called on the thread that owns the message.

#include <cstdint>

#include "model/properties_accessor.h"
#include "vek/trace/tracer.h"

namespace plugins::mail_processing {

// Raises vek::ResultCodeException kNotSupported, and traces it, when `access` (access_mode bits)
// asks for writing and the message's class names S/MIME. `message` is the accessor of the message
// itself, also for its attachments.
void RefuseWritingIfProtected(PropertiesAccessor& message, std::uint32_t access,
                              const vek::trace::TracerPtr& tracer);

// Whether a notice may be put into the message: always when its class names S/MIME; otherwise when
// its content type is known and is none of the signed and encrypted ones.
bool AllowsNotice(PropertiesAccessor& message);

// Raises vek::ResultCodeException kNotSupported, and traces why, unless the narrow text of the
// property `tag` `has_all` characters of the property: writing it back would lose the others.
void RefuseLosingCharacters(bool has_all, ULONG tag, const vek::trace::TracerPtr& tracer);

}  // namespace plugins::mail_processing
