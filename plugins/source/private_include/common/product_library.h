#pragma once

// The interface of the product's information library (product_info). The library is loaded into the
// plug-in's process and built apart from it, perhaps by another compiler: only plain types cross
// this border. Texts are UTF-8 and end with a NUL.
//
// Operations may be called from any thread; each returns a result code and never raises. Every
// object is released before the library is unloaded.

#include <cstdint>
#include <cstring>
#include <string_view>

#include "vek/core/object.h"

namespace plugins::product_info {

// The objects that a factory makes by name.
inline constexpr char kProductValuesObject[] = "product_info";            // IProductValues
inline constexpr char kRemoteLoaderObject[] = "ai_loader_remote_object";  // IRemoteObject

struct IObjectFactory : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x2F61A7B9;

    // On success `*object` implements `id` and has a reference. kNotFound for a name that is not
    // known, kInterfaceNotSupported for an interface that the object does not have.
    virtual vek::result_t CreateObject(const char* name, vek::interface_id_t id,
                                       void** object) noexcept = 0;

protected:
    ~IObjectFactory() = default;
};

// The values that say who the product's process must be.
inline constexpr char kProcessAccount[] = "ProcessAccount";  // a text SID
inline constexpr char kProcessImage[] = "ProcessImage";      // the path of its program

// Gives the product's values; the product need not run for that.
struct IProductValues : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x73E59D02;

    // Copies the value of `name` with its NUL into `buffer` of `capacity` bytes. `*size` becomes
    // what that takes, NUL included, also with kBufferTooSmall, which leaves the buffer alone.
    // kNotFound when the product has no such value.
    virtual vek::result_t GetValue(const char* name, char* buffer, std::uint32_t capacity,
                                   std::uint32_t* size) noexcept = 0;

protected:
    ~IProductValues() = default;
};

// For those who implement GetValue: gives `value` as it says.
inline vek::result_t CopyValue(std::string_view value, char* buffer, std::uint32_t capacity,
                               std::uint32_t* size) noexcept {
    if (size == nullptr || (buffer == nullptr && capacity != 0))
        return vek::result::kInvalidArgument;
    *size = static_cast<std::uint32_t>(value.size() + 1);
    if (*size > capacity) return vek::result::kBufferTooSmall;
    std::memcpy(buffer, value.data(), value.size());
    buffer[value.size()] = '\0';
    return vek::result::kOk;
}

// Where a process can be reached: by its local id when that is not zero, else at a TCP port of this
// machine.
struct RemoteAddress {
    std::uint32_t local_id;
    std::uint16_t tcp_port;
    std::uint16_t reserved;    // zero
    std::uint32_t process_id;  // of whoever answers there; zero when it is not known
};

// An object of the product's that lives in the product's process.
struct IRemoteObject : vek::IObject {
    static constexpr vek::interface_id_t kInterfaceId = 0x4AC8106F;

    // Where it is now; to be asked anew for each attempt to reach it. kNotReady while the product
    // does not run.
    virtual vek::result_t GetAddress(RemoteAddress* address) noexcept = 0;

protected:
    ~IRemoteObject() = default;
};

// The library's one export. On success `*factory` implements `id` (IObjectFactory) and has a
// reference; kInterfaceNotSupported for any other id.
inline constexpr char kGetObjectFactoryExport[] = "vekGetObjectFactory";
using GetObjectFactory = vek::result_t (*)(vek::interface_id_t id, void** factory);

}  // namespace plugins::product_info
