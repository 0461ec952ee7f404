#include "vek/core/result_text.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <type_traits>

#include "vek/core/text.h"

namespace vek {
namespace {

// A line of a table.
template <class Char>
struct code_text_t {
    result_t code;
    std::basic_string_view<Char> text;
};

// Tells whether FindText can search `table`; asserted beside each table.
template <class Char, std::size_t Size>
constexpr bool IsAscending(const code_text_t<Char> (&table)[Size]) noexcept {
    return std::adjacent_find(std::begin(table), std::end(table),
                              [](const code_text_t<Char>& a, const code_text_t<Char>& b) {
                                  return a.code >= b.code;
                              }) == std::end(table);
}

// Gives the text of `code`, or `unknown` when the table does not have it.
template <class Char, std::size_t Size>
constexpr std::basic_string_view<Char> FindText(
    const code_text_t<Char> (&table)[Size], result_t code,
    std::type_identity_t<std::basic_string_view<Char>> unknown) noexcept {
    const auto found = std::lower_bound(
        std::begin(table), std::end(table), code,
        [](const code_text_t<Char>& entry, result_t wanted) { return entry.code < wanted; });
    return found != std::end(table) && found->code == code ? found->text : unknown;
}

constexpr narrow_text_t ToNarrowText(std::string_view text) noexcept {
    return {text.data(), text.data() + text.size()};
}

constexpr code_text_t<char16_t> kGeneral[] = {
    {0x00000000, u"No error"},
    {0x00000001, u"False"},
    {0x80000001, u"Interface not supported"},
    {0x80000040, u"Unexpected"},
    {0x80000041, u"Out of memory"},
    {0x80000042, u"Not supported"},
    {0x80000043, u"Not implemented"},
    {0x80000044, u"Buffer too small"},
    {0x80000045, u"Access denied"},
    {0x80000046, u"Invalid argument"},
    {0x8000004A, u"Not matched"},
    {0x8000004B, u"Unspecified error"},
    {0x8000004C, u"Not found"},
    {0x8000004D, u"Found"},
    {0x8000004F, u"Locked"},
    {0x80000050, u"Not locked"},
    {0x80000051, u"Operation cancelled"},
    {0x80000057, u"Method not found"},
    {0x80000058, u"Stack is empty"},
    {0x80000059, u"Media error"},
    {0x8000005A, u"Invalid signature"},
    {0x8000005B, u"Invalid version"},
    {0x8000005C, u"Invalid size"},
    {0x8000005D, u"Invalid type"},
    {0x8000005E, u"Invalid index"},
    {0x80000062, u"Out of space"},
    {0x80000063, u"Not ready"},
    {0x80000064, u"Less than"},
    {0x80000065, u"More than"},
    {0x80000066, u"Prohibited"},
    {0x80000067, u"Already done"},
    {0x80000068, u"Need reboot"},
    {0x80000069, u"Bases corrupted"},
    {0x8000006A, u"Invalid state"},
    {0x8000006B, u"Not initialized"},
    {0x8000006C, u"Insufficient resources"},
    {0x80000071, u"Invalid result"},
    {0x80000072, u"Unknown exception"},
    {0x80000076, u"Meta information not found"},
    {0x80000100, u"Class not found"},
    {0x80000101, u"Settings are required"},
    {0x80000102, u"Unexpected settings"},
    {0x80000103, u"Wrong settings type"},
    {0x80000180, u"Property not found"},
    {0x80000221, u"Operation timeout"},
};
static_assert(IsAscending(kGeneral));

// The jump from 0x80010109 to 0x80010110 is in the contract.
constexpr code_text_t<char16_t> kPlatform[] = {
    {0x80010100, u"Unspecified platform error"},
    {0x80010101, u"Invalid handle"},
    {0x80010102, u"File not found"},
    {0x80010103, u"Path not found"},
    {0x80010104, u"Sharing violation"},
    {0x80010105, u"Already exists"},
    {0x80010106, u"Wait abandoned"},
    {0x80010107, u"Symbol not found"},
    {0x80010108, u"Sxs is incorrect"},
    {0x80010109, u"Invalid path name"},
    {0x80010110, u"Cannot open an anonymous level security token"},
    {0x80010111, u"Password is invalid"},
    {0x80010112, u"Module not found"},
    {0x80010113, u"System image bad signature"},
    {0x80010114, u"Cloud file request aborted"},
    {0x80010115, u"Memory mapping failed"},
};
static_assert(IsAscending(kPlatform));

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

// Settings storage shares it: that facility has no text of its own for unknown codes.
constexpr std::string_view kUnknown = "Unknown Service Manager's result code";

constexpr code_text_t<char> kSettingsStorage[] = {
    {0xA6430001, "Settings not found in database"},
    {0xA6430002, "Settings serialization failed"},
    {0xA6430003, "Settings deserialization failed"},
    {0xA6430004, "Wrong settings revision"},
};
static_assert(IsAscending(kSettingsStorage));

constexpr code_text_t<char> kServiceManager[] = {
    {0x26440001, "Service is not alive (but may be under construction or destruction)"},
    {0xA6440001, "There are more then one service that provide the interface requested"},
    {0xA6440002, "Service is trying to request it's own interface"},
    {0xA6440003, "Can't find service specified"},
    {0xA6440004, "Can't find component specified"},
    {0xA6440005,
     "Settings management is disabled, VSM does not provide services, that requires the settings"},
    {0xA6440006,
     "Settings in storage have different type then type specified in component's configuration "
     "(attribute settings_type_id)"},
    {0xA6440007, "Service has no settings"},
    {0xA6440008, "Service does not support interface requested"},
    {0xA6440009, "Service does not support IXxxConstruct interface"},
    {0xA644000A, "Service does not support IXxxSettings interface"},
    {0xA644000B, "Service does not support IObjectState interface"},
    {0xA644000C, "Service does not support IStorageObjectState interface"},
    {0xA644000D, "Service does not support IUpdateDelegate interface"},
    {0xA644000E, "Service does not support IStorageUpdateDelegate interface"},
    {0xA6440010, "Service object factory returned an error (IObjectFactory::CreateInstance)"},
    {0xA6440011, "Can't obtain updater::IUpdateableCategoriesProvider interface"},
    {0xA6440012, "Can't obtain storage::IDataStorageFactory interface"},
    {0xA6440013, "Update is already in progress"},
    {0xA6440014, "Service Manager is not available in service-locator provided"},
    {0xA6440015, "Service Manager's configuration contains an error(s), or it is not an xml-file"},
    {0xA6440016, "Configuration contains a service or a component, which is already registered"},
    {0xA6440017, "Service is not alive (but may be under construction or destruction)"},
    {0xA6440018, "Service returned an error in IStorageObjectState::SetStorage"},
    {0xA6440019,
     "Service returned an error in IXxxConstruct::Construct or in IXxxSettings::SetSettings"},
    {0xA644001A,
     "Service returned an error in IUpdateDelegate::VerifyUpdate or in "
     "IStorageUpdateDelegate::VerifyUpdate"},
    {0xA644001B, "Module does not export object factory v2"},
    {0xA644001C, "External service creator returned an error (IServiceHandler::CreateService)"},
    {0xA644001D,
     "External service configurator returned an error (IServiceHandler::ConfigureService)"},
    {0xA644001E, "The service is not locked. See IServiceManager::UnlockService for details"},
    {0xA644001F, "Can't find category specified"},
    {0xA6440020, "Storage for service's bases is not found"},
    {0xA6440021, "Service returned an error in IObjectState::Verify"},
    {0xA6440022, "Can't put updatable file to cache"},
    {0xA6440023, "Module does not export 'vekGetObjectFactory' symbol"},
    {0xA6440024, "Can't get effective service settings"},
    {0xA6440025, "Can't create host for service"},
    {0xA6440026, "Category is of inappopriate type"},
    {0xA6440027, "Category of old service does not match category of updated service"},
    {0xA6440028, "Remoting sybsystem is not initialized"},
    {0xA6440029, "Can't find host specified"},
    {0xA644002A, "Can't find access point specified"},
    {0xA644002B, "Access to access point is denied"},
    {0xA644002C, "Host control access point is not available"},
    {0xA644002D, "Service is disabled"},
    {0xA644002E, "There is no one or more than one access point that provide the service"},
    {0xA6440030,
     "An operation can not be completed because VSM cache is disabled by configuration"},
    {0xA6440031, "An operation is supported only in main host"},
    {0xA6440032, "A host process can not be opened"},
    {0xA6440033, "Attempt to modify settings declared as constant"},
};
static_assert(IsAscending(kServiceManager));

void AppendText(std::string& out, result_t code) {
    switch (Facility(code)) {
        case facility::kTaskManager:
            out += TaskManagerText(code).view();
            return;
        case facility::kTaskScheduler:
            out += TaskSchedulerText(code).view();
            return;
        case facility::kSettingsStorage:
            out += SettingsStorageText(code).view();
            return;
        case facility::kServiceManager:
            out += ServiceManagerText(code).view();
            return;
        case facility::kLoader:
            out += LoaderText(code).view();
            return;
        default:
            AppendUtf8(out, ResultText(code));
    }
}

}  // namespace

std::u16string_view ResultText(result_t code) noexcept {
    if (Facility(code) == facility::kPlatform) {
        return FindText(kPlatform, code, u"Unknown platform result code");
    }
    return FindText(kGeneral, code, u"Unknown result code");
}

narrow_text_t TaskManagerText(result_t code) noexcept {
    return ToNarrowText(FindText(kTaskManager, code, "Unknown task manager result code"));
}

narrow_text_t TaskSchedulerText(result_t code) noexcept {
    return ToNarrowText(FindText(kTaskScheduler, code, "Unknown task scheduler result code"));
}

narrow_text_t LoaderText(result_t code) noexcept {
    return ToNarrowText(FindText(kLoader, code, "Unknown loader result code"));
}

narrow_text_t SettingsStorageText(result_t code) noexcept {
    return ToNarrowText(FindText(kSettingsStorage, code, kUnknown));
}

narrow_text_t ServiceManagerText(result_t code) noexcept {
    return ToNarrowText(FindText(kServiceManager, code, kUnknown));
}

void AppendResult(std::string& out, result_t code) {
    const auto digits = HexDigits<char>(code);
    out += "result=0x";
    out.append(digits.data(), digits.size());
    out += " (";
    AppendText(out, code);
    out += ')';
}

}  // namespace vek
