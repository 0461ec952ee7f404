#pragma once

// Copies between a storage's data and any IStorage.

#include <string>
#include <string_view>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/storage_node.h"

namespace sandbox::outlook {

// The names of elements as IStorage takes and gives them; null is empty.
std::basic_string<WCHAR> ToWide(std::u16string_view name);
std::u16string FromWide(const WCHAR* name);

// The modes in which elements are opened and made: exclusively.
inline constexpr DWORD kReadElement = STGM_READ | STGM_SHARE_EXCLUSIVE;
inline constexpr DWORD kWriteElement = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;

// Makes the elements of `from` in `to`. Streams of the same names are replaced.
HRESULT WriteStorage(const StorageNode& from, IStorage& to);

// Adds the elements of `from` to `to`.
HRESULT ReadStorage(IStorage& from, StorageNode& to);

}  // namespace sandbox::outlook
