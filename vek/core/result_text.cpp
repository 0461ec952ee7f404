#include "vek/core/result_text.h"

#include "vek/core/code_table.h"

namespace vek {
namespace {

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

}  // namespace

std::u16string_view ResultText(result_t code) noexcept {
    if (Facility(code) == facility::kPlatform) {
        return FindText(kPlatform, code, u"Unknown platform result code");
    }
    return FindText(kGeneral, code, u"Unknown result code");
}

}  // namespace vek
