#include "vek/core/code_table.h"
#include "vek/core/result_text.h"

namespace vek {
namespace {

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

}  // namespace

narrow_text_t SettingsStorageText(result_t code) noexcept {
    return ToNarrowText(FindText(kSettingsStorage, code, kUnknown));
}

narrow_text_t ServiceManagerText(result_t code) noexcept {
    return ToNarrowText(FindText(kServiceManager, code, kUnknown));
}

}  // namespace vek
