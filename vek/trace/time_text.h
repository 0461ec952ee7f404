#pragma once

#include <string>

#include "vek/platform/clock.h"

namespace vek::trace {

// Appends "Y-MM-DD hh:mm:ss".
void AppendDateAndTime(std::string& text, const platform::CalendarTime& time);

// Appends "hh:mm:ss.mmm".
void AppendTimeOfDay(std::string& text, const platform::CalendarTime& time);

}  // namespace vek::trace
