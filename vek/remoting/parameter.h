#pragma once

// How each kind of parameter of a remote method travels. A kind has two classes: ProxySide holds
// the caller's argument, StubSide the one that the object is called with. The parameter's type says
// of which kind it is:
//
//     number, enumeration, bool          in
//     std::string_view, u16string_view   in
//     std::span<const std::byte>         in
//     const Record&                      in
//     I* (an interface)                  in; may be null
//     T& (T of the above by value)       out, given on success alone
//     I**                                out, with a reference; may be null
//     void**                             the same; the method's first parameter is the interface id
//     std::span<std::byte>               out; the next parameter (std::uint32_t&) is the number of
//                                        bytes that were filled. Bytes of the peer's may be in it
//                                        after a failure, too
//     range_t<T>&                        in and out
//     const void*                        reserved: always null, does not travel

#include <algorithm>
#include <concepts>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <type_traits>

#include "vek/remoting/marshalling.h"
#include "vek/remoting/null_flags.h"
#include "vek/remoting/zeroed_room.h"
#include "vek/serialization/values.h"
#include "vek/trace/line.h"

namespace vek {

// A range of storage that belongs to the caller. Passed by reference it is an in-out argument: the
// callee may change what is in it and make it shorter, but must neither let it point elsewhere nor
// make it longer.
template <class T>
struct range_t {
    static_assert(std::is_trivially_copyable_v<T>);
    T* data = nullptr;
    std::size_t size = 0;  // in elements
};

}  // namespace vek

namespace vek::remoting {

// The most that one call reads into a caller's storage: what a call can make the object's end
// allocate. Proxies of what may be longer ask in pieces.
inline constexpr std::size_t kMaxOutBytes = std::size_t{1} << 20;

// The steps of a call, for kinds that have nothing to do in them.
struct ProxySideBase {
    static constexpr bool kInInterface = false;
    static constexpr bool kOutInterface = false;
    result_t Marshal(Connection&) noexcept { return result::kOk; }
    void Serialize(serialization::Writer&) {}
    void MarkDelivered() noexcept {}
    // For storage that the reply's bytes can go to as they arrive: reads on to them, and gives the
    // storage that they fill. Called before anything is deserialized, with the reply's beginning.
    // True when there is nothing of this parameter in a reply, so that the next is to be asked.
    bool FindLanding(serialization::Reader&, std::span<std::byte>&) const noexcept { return true; }
    void MarkLanded() noexcept {}
    void Deserialize(serialization::Reader&, Connection&) {}
    result_t Demarshal(Connection&) noexcept { return result::kOk; }
    void Commit() noexcept {}
};

// For kinds that a reply has something of.
struct OutProxySideBase : ProxySideBase {
    bool FindLanding(serialization::Reader&, std::span<std::byte>&) const noexcept { return false; }
};

struct StubSideBase {
    static constexpr bool kInInterface = false;
    static constexpr bool kOutInterface = false;
    void Deserialize(serialization::Reader&, Connection&) {}
    result_t Demarshal(Connection&) noexcept { return result::kOk; }
    void ReleaseInput() noexcept {}
    result_t Marshal(Connection&) { return result::kOk; }
    void Serialize(serialization::Writer&) {}
    void MarkDelivered() noexcept {}
};

template <class P>
struct Parameter;

// --- In, by value.

template <class P, class Storage>
struct InParameter {
    class ProxySide : public ProxySideBase {
    public:
        explicit ProxySide(P value) : value_(value) {}
        void Serialize(serialization::Writer& writer) { serialization::Serialize(writer, value_); }

    private:
        P value_;
    };

    class StubSide : public StubSideBase {
    public:
        void Deserialize(serialization::Reader& reader, Connection&) {
            serialization::Deserialize(reader, value_);
        }
        P Argument() noexcept { return value_; }
        const Storage& value() const noexcept { return value_; }

    private:
        Storage value_{};
    };
};

template <class P>
concept Scalar = std::integral<P> || std::is_enum_v<P>;

template <Scalar P>
struct Parameter<P> : InParameter<P, P> {};
template <>
struct Parameter<std::string_view> : InParameter<std::string_view, std::string_view> {};
template <>
struct Parameter<bytes_t> : InParameter<bytes_t, bytes_t> {};
// Copied: what arrives need not be aligned as char16_t must be.
template <>
struct Parameter<std::u16string_view> : InParameter<std::u16string_view, std::u16string> {};
template <serialization::Record T>
struct Parameter<const T&> : InParameter<const T&, T> {};

// --- Out, by value.

template <class T>
concept Mutable = !std::is_const_v<T>;

template <Mutable T>
struct Parameter<T&> {
    class ProxySide : public OutProxySideBase {
    public:
        explicit ProxySide(T& target) noexcept : target_(target) {}
        void Deserialize(serialization::Reader& reader, Connection&) {
            serialization::Deserialize(reader, value_);
        }
        void Commit() noexcept { target_ = std::move(value_); }
        const T& value() const noexcept { return value_; }

    private:
        T& target_;
        T value_{};
    };

    class StubSide : public StubSideBase {
    public:
        T& Argument() noexcept { return value_; }
        void Serialize(serialization::Writer& writer) { serialization::Serialize(writer, value_); }
        const T& value() const noexcept { return value_; }

    private:
        T value_{};
    };
};

// --- Out, into storage of the caller's.

template <>
struct Parameter<std::span<std::byte>> {
    class ProxySide : public ProxySideBase {
    public:
        explicit ProxySide(std::span<std::byte> target) noexcept : target_(target) {}

        // More than kMaxOutBytes is refused here, before it is there.
        result_t Marshal(Connection&) noexcept {
            return target_.size() > kMaxOutBytes ? result::kInvalidSize : result::kOk;
        }
        void Serialize(serialization::Writer& writer) {
            writer.Write(static_cast<std::uint32_t>(target_.size()));
        }
        bool FindLanding(serialization::Reader& reader, std::span<std::byte>& storage) noexcept {
            const auto size = reader.Read<std::uint32_t>();
            if (size <= target_.size()) storage = target_.first(size);
            landing_ = true;
            return false;
        }
        void MarkLanded() noexcept { landed_ = landing_; }
        void Deserialize(serialization::Reader& reader, Connection&) {
            if (landed_) {
                filled_ = target_.first(reader.Read<std::uint32_t>());
                return;
            }
            serialization::Deserialize(reader, filled_);
            if (filled_.size() > target_.size()) reader.Fail(result::kInvalidSize);
        }
        // The peer's count must be that of the bytes it sent.
        bool IsFilledBy(std::uint32_t count) const noexcept { return filled_.size() == count; }
        void Commit() noexcept {
            if (filled_.empty() || landed_) return;
            std::memcpy(target_.data(), filled_.data(), filled_.size());
        }

    private:
        std::span<std::byte> target_;
        bytes_t filled_;  // in the reply, or in the target
        bool landing_ = false;
        bool landed_ = false;
    };

    class StubSide : public StubSideBase {
    public:
        void Deserialize(serialization::Reader& reader, Connection& connection) {
            const auto size = reader.Read<std::uint32_t>();
            if (size > kMaxOutBytes) return reader.Fail(result::kInvalidSize);
            storage_.emplace(connection.rooms(), size);
        }
        std::span<std::byte> Argument() noexcept { return storage_->bytes(); }
        // `filled` is where the method says how much of it was filled.
        void BindFillCount(const std::uint32_t& filled) noexcept { filled_ = &filled; }
        void Serialize(serialization::Writer& writer) {
            serialization::Serialize(writer, storage_->First(*filled_));
        }

    private:
        std::optional<ZeroedRoom> storage_;
        const std::uint32_t* filled_ = nullptr;
    };
};

// --- In and out.

template <class T>
struct Parameter<range_t<T>&> {
    class ProxySide : public OutProxySideBase {
    public:
        explicit ProxySide(range_t<T>& range) noexcept : range_(range) {}
        void Serialize(serialization::Writer& writer) {
            serialization::Serialize(writer,
                                     bytes_t(std::as_bytes(std::span(range_.data, range_.size))));
        }
        void Deserialize(serialization::Reader& reader, Connection&) {
            serialization::Deserialize(reader, changed_);
            if (changed_.size() > range_.size * sizeof(T) || changed_.size() % sizeof(T) != 0) {
                reader.Fail(result::kInvalidSize);
            }
        }
        void Commit() noexcept {
            if (!changed_.empty()) std::memcpy(range_.data, changed_.data(), changed_.size());
            range_.size = changed_.size() / sizeof(T);
        }

    private:
        range_t<T>& range_;
        bytes_t changed_;  // in the reply
    };

    class StubSide : public StubSideBase {
    public:
        void Deserialize(serialization::Reader& reader, Connection&) {
            bytes_t bytes;
            serialization::Deserialize(reader, bytes);
            if (bytes.size() % sizeof(T) != 0) return reader.Fail(result::kInvalidSize);
            size_ = bytes.size() / sizeof(T);
            storage_.reset(new T[size_]);
            if (!bytes.empty()) std::memcpy(storage_.get(), bytes.data(), bytes.size());
            range_ = {storage_.get(), size_};
        }
        range_t<T>& Argument() noexcept { return range_; }
        result_t Marshal(Connection& connection) noexcept {
            const char* const wrong =
                range_.data != storage_.get() ? "VEK remoting: An in-out parameter of the "
                                                "range_t<> type must not be modified "
                                                "to point to another storage."
                : range_.size > size_
                    ? "VEK remoting: An in-out parameter of the range_t<> type must not be resized "
                      "beyond its original size."
                    : nullptr;
            if (wrong == nullptr) return result::kOk;
            trace::Write(connection.tracer(), trace::level::kError, wrong);
            return result::kInvalidArgument;
        }
        void Serialize(serialization::Writer& writer) {
            serialization::Serialize(writer,
                                     bytes_t(std::as_bytes(std::span(range_.data, range_.size))));
        }

    private:
        std::unique_ptr<T[]> storage_;
        std::size_t size_ = 0;
        range_t<T> range_;
    };
};

// --- Interfaces.

template <class I>
concept Interface = std::derived_from<I, IObject>;

template <Interface I>
struct Parameter<I*> {
    class ProxySide : public ProxySideBase {
    public:
        static constexpr bool kInInterface = true;
        explicit ProxySide(I* object) noexcept : object_(object) {}
        result_t Marshal(Connection& connection) {
            handle_.emplace(connection.registry());
            return remoting::Marshal(connection, I::kInterfaceId, object_, *handle_);
        }
        void Serialize(serialization::Writer& writer) { writer.Write(handle_->get()); }
        void MarkDelivered() noexcept { handle_->MarkDelivered(); }
        bool IsNull() const noexcept { return object_ == nullptr; }

    private:
        I* object_;
        std::optional<OutgoingHandle> handle_;
    };

    class StubSide : public StubSideBase {
    public:
        static constexpr bool kInInterface = true;
        void Deserialize(serialization::Reader& reader, Connection& connection) {
            handle_.emplace(connection);
            handle_->Set(reader.Read<stub_handle_t>());
        }
        bool IsNull() const noexcept { return handle_->get() == kNoHandle; }
        result_t Demarshal(Connection& connection) noexcept {
            return remoting::Demarshal(connection, I::kInterfaceId, *handle_, object_.put_void());
        }
        I* Argument() noexcept { return object_.get(); }
        void ReleaseInput() noexcept { object_.reset(); }

    private:
        std::optional<IncomingHandle> handle_;
        RefPtr<I> object_;
    };
};

// An out parameter whose interface is known when the call is made.
class OutInterfaceProxySide : public OutProxySideBase {
public:
    static constexpr bool kOutInterface = true;

    OutInterfaceProxySide(interface_id_t id, void** target) noexcept : id_(id), target_(target) {
        if (target_ != nullptr) *target_ = nullptr;
    }
    OutInterfaceProxySide(const OutInterfaceProxySide&) = delete;
    OutInterfaceProxySide& operator=(const OutInterfaceProxySide&) = delete;
    ~OutInterfaceProxySide() {
        if (object_ != nullptr) static_cast<IObject*>(object_)->Release();
    }

    void SetRequestedId(interface_id_t id) noexcept { id_ = id; }
    result_t Marshal(Connection&) const noexcept {
        return target_ == nullptr ? result::kInvalidArgument : result::kOk;
    }
    void Deserialize(serialization::Reader& reader, Connection& connection) {
        handle_.emplace(connection);
        handle_->Set(reader.Read<stub_handle_t>());
    }
    bool IsNull() const noexcept { return !handle_ || handle_->get() == kNoHandle; }
    result_t Demarshal(Connection& connection) noexcept {
        return handle_ ? remoting::Demarshal(connection, id_, *handle_, &object_) : result::kOk;
    }
    void Commit() noexcept { *target_ = std::exchange(object_, nullptr); }

private:
    interface_id_t id_;
    void** target_;
    std::optional<IncomingHandle> handle_;
    void* object_ = nullptr;
};

class OutInterfaceStubSide : public StubSideBase {
public:
    static constexpr bool kOutInterface = true;

    explicit OutInterfaceStubSide(interface_id_t id) noexcept : id_(id) {}
    OutInterfaceStubSide(const OutInterfaceStubSide&) = delete;
    OutInterfaceStubSide& operator=(const OutInterfaceStubSide&) = delete;
    ~OutInterfaceStubSide() {
        if (object_ != nullptr) static_cast<IObject*>(object_)->Release();
    }

    void SetRequestedId(interface_id_t id) noexcept { id_ = id; }
    bool IsNull() const noexcept { return !handle_ || handle_->get() == kNoHandle; }
    result_t Marshal(Connection& connection) {
        handle_.emplace(connection.registry());
        const result_t result =
            remoting::Marshal(connection, id_, static_cast<IObject*>(object_), *handle_);
        // An object of the peer's is released now, so that the release rides on the reply: the peer
        // takes note of it when it has the object.
        if (Succeeded(result) && IsStubHandle(handle_->get())) {
            static_cast<IObject*>(std::exchange(object_, nullptr))->Release();
        }
        return result;
    }
    void Serialize(serialization::Writer& writer) { writer.Write(handle_->get()); }
    void MarkDelivered() noexcept {
        if (handle_) handle_->MarkDelivered();
    }

protected:
    void** storage() noexcept { return &object_; }

private:
    interface_id_t id_;
    std::optional<OutgoingHandle> handle_;
    void* object_ = nullptr;
};

// A pointer to an interface and one to its base are the same: an interface has no other base.
template <Interface I>
struct Parameter<I**> {
    struct ProxySide : OutInterfaceProxySide {
        explicit ProxySide(I** target) noexcept
            : OutInterfaceProxySide(I::kInterfaceId, reinterpret_cast<void**>(target)) {}
    };
    struct StubSide : OutInterfaceStubSide {
        StubSide() noexcept : OutInterfaceStubSide(I::kInterfaceId) {}
        I** Argument() noexcept { return reinterpret_cast<I**>(storage()); }
    };
};

template <>
struct Parameter<void**> {
    struct ProxySide : OutInterfaceProxySide {
        explicit ProxySide(void** target) noexcept
            : OutInterfaceProxySide(IObject::kInterfaceId, target) {}
    };
    struct StubSide : OutInterfaceStubSide {
        StubSide() noexcept : OutInterfaceStubSide(IObject::kInterfaceId) {}
        void** Argument() noexcept { return storage(); }
    };
};

// --- Reserved.

template <>
struct Parameter<const void*> {
    class ProxySide : public ProxySideBase {
    public:
        explicit ProxySide(const void* value) noexcept : value_(value) {}
        result_t Marshal(Connection&) const noexcept {
            return value_ == nullptr ? result::kOk : result::kInvalidArgument;
        }

    private:
        const void* value_;
    };
    struct StubSide : StubSideBase {
        const void* Argument() noexcept { return nullptr; }
    };
};

}  // namespace vek::remoting
