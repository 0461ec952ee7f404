#include "vek/trace/time_text.h"

#include <string_view>

#include "vek/trace/line.h"

namespace vek::trace {
namespace {

// Appends `separator` and two digits.
void AppendField(std::string& text, std::string_view separator, unsigned value) {
    text += separator;
    text += static_cast<char>('0' + value / 10);
    text += static_cast<char>('0' + value % 10);
}

}  // namespace

void AppendDateAndTime(std::string& text, const platform::CalendarTime& time) {
    AppendPiece(text, time.year);
    AppendField(text, "-", time.month);
    AppendField(text, "-", time.day);
    AppendField(text, " ", time.hour);
    AppendField(text, ":", time.minute);
    AppendField(text, ":", time.second);
}

void AppendTimeOfDay(std::string& text, const platform::CalendarTime& time) {
    AppendField(text, "", time.hour);
    AppendField(text, ":", time.minute);
    AppendField(text, ":", time.second);
    text += '.';
    text += static_cast<char>('0' + time.millisecond / 100);
    AppendField(text, "", time.millisecond % 100u);
}

}  // namespace vek::trace
