#pragma once

// How values are laid out, least significant byte first:
//
//     integer, enumeration   its own width
//     bool                   one byte, 0 or 1
//     text, bytes            length (u32, in bytes or UTF-16 units), then the content
//     optional               one byte, 0 or 1, then the value when it is 1
//     record                 type id (u32), then the fields in their order
//
// A record is a class with `static constexpr std::uint32_t kTypeId` and `kFields`, a tuple of
// pointers to its members.

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>

#include "vek/core/throw.h"
#include "vek/serialization/reader.h"
#include "vek/serialization/writer.h"

namespace vek::serialization {

template <class T>
concept Enumeration = std::is_enum_v<T>;

template <class T>
concept Record = requires {
    { T::kTypeId } -> std::convertible_to<std::uint32_t>;
    T::kFields;
};

// --- Writing. Each raises std::bad_alloc, and ResultCodeException (kInvalidSize) for what is
// longer than a length can say. Texts and bytes may be viewed: see Writer::WriteRange.

inline void WriteCount(Writer& writer, std::size_t count) {
    if (count > std::numeric_limits<std::uint32_t>::max()) ThrowResult(result::kInvalidSize);
    writer.Write(static_cast<std::uint32_t>(count));
}

template <Number T>
void Serialize(Writer& writer, T value) {
    writer.Write(value);
}

template <Enumeration T>
void Serialize(Writer& writer, T value) {
    writer.Write(static_cast<std::underlying_type_t<T>>(value));
}

template <std::same_as<bool> T>
void Serialize(Writer& writer, T value) {
    writer.Write(static_cast<std::uint8_t>(value));
}

inline void Serialize(Writer& writer, bytes_t bytes) {
    WriteCount(writer, bytes.size());
    writer.WriteRange(bytes);
}

inline void Serialize(Writer& writer, std::string_view text) {
    Serialize(writer, std::as_bytes(std::span(text)));
}

inline void Serialize(Writer& writer, std::u16string_view text) {
    WriteCount(writer, text.size());
    writer.WriteRange(std::as_bytes(std::span(text)));
}

template <class T>
void Serialize(Writer& writer, const std::optional<T>& value);

template <Record T>
void Serialize(Writer& writer, const T& record) {
    writer.Write(std::uint32_t{T::kTypeId});
    std::apply([&](auto... fields) { (Serialize(writer, record.*fields), ...); }, T::kFields);
}

template <class T>
void Serialize(Writer& writer, const std::optional<T>& value) {
    Serialize(writer, value.has_value());
    if (value) Serialize(writer, *value);
}

// --- Reading. Failures are left in the reader: kBufferTooSmall, or kInvalidType for what cannot be
// a value of the type. Want of memory raises std::bad_alloc; nothing is allocated for content that
// is not there.

template <Number T>
void Deserialize(Reader& reader, T& value) {
    value = reader.Read<T>();
}

template <Enumeration T>
void Deserialize(Reader& reader, T& value) {
    value = static_cast<T>(reader.Read<std::underlying_type_t<T>>());
}

template <std::same_as<bool> T>
void Deserialize(Reader& reader, T& value) {
    const auto byte = reader.Read<std::uint8_t>();
    if (byte > 1) reader.Fail(result::kInvalidType);
    value = byte == 1;
}

// A view of what the reader reads.
inline void Deserialize(Reader& reader, bytes_t& bytes) {
    bytes = reader.ReadBytes(reader.Read<std::uint32_t>());
}

inline void Deserialize(Reader& reader, std::string_view& text) {
    bytes_t bytes;
    Deserialize(reader, bytes);
    text = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline void Deserialize(Reader& reader, std::string& text) {
    std::string_view view;
    Deserialize(reader, view);
    text = view;
}

inline void Deserialize(Reader& reader, std::u16string& text) {
    const std::uint64_t units = reader.Read<std::uint32_t>();
    const bytes_t bytes = reader.ReadBytes(units * sizeof(char16_t));
    text.resize(bytes.size() / sizeof(char16_t));
    if (!bytes.empty()) std::memcpy(text.data(), bytes.data(), bytes.size());
}

template <class T>
void Deserialize(Reader& reader, std::optional<T>& value);

template <Record T>
void Deserialize(Reader& reader, T& record) {
    if (reader.Read<std::uint32_t>() != T::kTypeId) reader.Fail(result::kInvalidType);
    std::apply([&](auto... fields) { (Deserialize(reader, record.*fields), ...); }, T::kFields);
}

template <class T>
void Deserialize(Reader& reader, std::optional<T>& value) {
    bool present = false;
    Deserialize(reader, present);
    value.reset();
    if (present) Deserialize(reader, value.emplace());
}

}  // namespace vek::serialization
