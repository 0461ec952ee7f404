#include "vek/core/code_table.h"
#include "vek/core/result_text.h"

namespace vek {
namespace {

constexpr code_text_t<char> kTaskManager[] = {
    {0x26410001, "Request accepted"},
    {0xA6410001, "Task is pending removal"},
    {0xA6410002, "Task already exists"},
    {0xA6410003, "Task is disabled"},
    {0xA6410004, "Wrong task kind ('monitor' instead of 'on-demand' and vice versa)"},
    {0xA6410005, "Unknown task"},
    {0xA6410006, "Unkonwn task type"},
    {0xA6410007, "Unknown task session"},
    {0xA6410008, "Invalid task state"},
    {0xA6410009, "Storage error"},
    {0xA641000A, "Task configuration error"},
    {0xA641000B, "Impersonation failed"},
    {0xA641000C, "Logon failure"},
};
static_assert(IsAscending(kTaskManager));

constexpr code_text_t<char> kTaskScheduler[] = {
    {0xA6420001, "Schedule is not set"},
    {0xA6420002, "Unknown time"},
};
static_assert(IsAscending(kTaskScheduler));

constexpr code_text_t<char> kLoader[] = {
    {0xA6460001, "Process couldn't be attached to Service Control Manager"},
    {0xA6460002, "Environment proxy creation failed"},
    {0xA6460003, "Tracer creation failed"},
    {0xA6460004, "Crash handler couldn't be initialized"},
    {0xA6460005, "Dump writer couldn't be initialized"},
    {0xA6460006, "System couldn't allocate enough resources"},
    {0xA6460007, "Application failed to change service state"},
    {0xA6460008,
     "Can't initialize some of basic services (allocator, service registry, serializer etc.)"},
    {0xA6460009, "Can't create environment"},
    {0xA6460101, "Velmor 'params' module couldn't be loaded"},
    {0xA6460102, "Velmor 'proxy-stub' module couldn't be loaded"},
    {0xA6460201, "Failed to create process to host a service or a task"},
};
static_assert(IsAscending(kLoader));

}  // namespace

narrow_text_t TaskManagerText(result_t code) noexcept {
    return ToNarrowText(FindText(kTaskManager, code, "Unknown task manager result code"));
}

narrow_text_t TaskSchedulerText(result_t code) noexcept {
    return ToNarrowText(FindText(kTaskScheduler, code, "Unknown task scheduler result code"));
}

narrow_text_t LoaderText(result_t code) noexcept {
    return ToNarrowText(FindText(kLoader, code, "Unknown loader result code"));
}

}  // namespace vek
