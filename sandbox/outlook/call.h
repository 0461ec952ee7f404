#pragma once

#include <cstddef>
#include <cstdint>

namespace sandbox::outlook {

// The kinds of calls that the subsystem counts and can be told to fail. Methods that are never
// supported share one kind.
enum class Call : std::uint8_t {
    // entry points
    kInitialize,
    kLogonEx,
    kGetOneProp,
    kQueryAllRows,
    kWrapCompressedRtfStream,
    kCreateStream,
    // any object
    kQueryInterface,
    kGetLastError,
    kUnsupported,
    // session, store, address book
    kOpenEntry,
    kOpenAddressBook,
    kOpenAddressEntry,
    kLogoff,
    // objects with properties
    kSaveChanges,
    kGetProps,
    kGetPropList,
    kOpenProperty,
    kSetProps,
    kDeleteProps,
    // messages
    kGetAttachmentTable,
    kOpenAttach,
    kCreateAttach,
    kDeleteAttach,
    kGetRecipientTable,
    // tables
    kSetColumns,
    kQueryColumns,
    kGetRowCount,
    kSeekRow,
    kQueryPosition,
    kFindRow,
    kQueryRows,
    // streams
    kStreamRead,
    kStreamWrite,
    kStreamSeek,
    kStreamSetSize,
    kStreamCopyTo,
    kStreamCommit,
    kStreamStat,
    // structured storage, where this stand-in brings it (on Windows OLE does)
    kCreateLockBytes,
    kCreateDocfile,
    kLockBytesReadAt,
    kLockBytesWriteAt,
    kLockBytesFlush,
    kLockBytesSetSize,
    kLockBytesStat,
    kStorageCreateStream,
    kStorageOpenStream,
    kStorageCreateStorage,
    kStorageOpenStorage,
    kStorageCopyTo,
    kStorageCommit,
    kStorageEnumElements,
    kStorageStat,
    kEnumElements,
    kCount,
};

inline constexpr std::size_t kCallKinds = static_cast<std::size_t>(Call::kCount);

}  // namespace sandbox::outlook
