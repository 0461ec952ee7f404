#pragma once

// Structured storage of the system: OLE's compound files on Windows, elsewhere this stand-in's own
// storages and their row of bytes (EncodeStorage).

#include <memory>
#include <string_view>

#include "mapi/mapi_interfaces.h"
#include "sandbox/outlook/runtime.h"
#include "sandbox/outlook/storage_node.h"

namespace sandbox::outlook {

// Opens `content` as a storage for reading. The content itself stays as it is.
HRESULT OpenStorage(const std::shared_ptr<Runtime>& runtime, const StorageNode& content,
                    IStorage** out);

// Reads the content of a compound file. Raises std::runtime_error for other bytes.
std::shared_ptr<StorageNode> ReadCompoundFile(std::string_view bytes);

// A copy of an element's name as STATSTG gives it away.
WCHAR* NewElementName(std::u16string_view name);

// Owns such a name.
class ElementName {
public:
    explicit ElementName(WCHAR* name) : name_(name) {}
    ~ElementName();
    ElementName(const ElementName&) = delete;
    ElementName& operator=(const ElementName&) = delete;

private:
    WCHAR* name_;
};

}  // namespace sandbox::outlook
