#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "sandbox/outlook/property_value.h"

namespace sandbox::outlook {

// A stream or a storage of a structured storage: plain data, no objects.
struct StorageNode {
    Content bytes;                                                  // of a stream only
    std::map<std::u16string, std::shared_ptr<StorageNode>> inside;  // of a storage, by name
};

// A copy that shares no node, only bytes.
std::shared_ptr<StorageNode> CopyNodes(const StorageNode& node);

// The sum of the bytes of all its streams.
std::size_t SizeOf(const StorageNode& node);

// One to 31 units, none of them zero or one of / \ : ! (IStorage's rule).
bool IsElementName(std::u16string_view name);

// How deep storages are nested at most in content that is read.
inline constexpr int kDeepestStorage = 32;

// A storage as one row of bytes: "STG1" and its elements. An element is a byte, 1 for a stream and
// 2 for a storage, then its name (the count of UTF-16 units in 2 bytes, then the units), then the
// content: a stream's size in 8 bytes and its bytes, a storage's elements. A byte 0 ends the
// elements of each storage. Numbers and units have their lowest byte first.
std::string EncodeStorage(const StorageNode& storage);

// Raises std::runtime_error for anything else than the whole of such a row.
std::shared_ptr<StorageNode> DecodeStorage(std::string_view bytes);

}  // namespace sandbox::outlook
