#pragma once

// The arguments of a call of one method, from its signature, on either side.

#include <tuple>
#include <utility>

#include "vek/remoting/invoke_abstracted_method.h"
#include "vek/remoting/parameter.h"
#include "vek/remoting/sync_method_proxy.h"

namespace vek::remoting {

// Calls `visit` with each element and its index.
template <class Tuple, class Visit>
void ForEach(Tuple& tuple, Visit visit) {
    [&]<std::size_t... Index>(std::index_sequence<Index...>) {
        (visit(std::get<Index>(tuple)), ...);
    }
    (std::make_index_sequence<std::tuple_size_v<Tuple>>());
}

// Calls `step` with each element up to the first failure.
template <class Tuple, class Step>
result_t UntilFailure(Tuple& tuple, Step step) {
    result_t result = result::kOk;
    ForEach(tuple, [&](auto& element) {
        if (Succeeded(result)) result = step(element);
    });
    return result;
}

// Compares null flags with the parameters they belong to, one after another.
class FlagCheck {
public:
    explicit FlagCheck(const NullFlags& flags) noexcept : flags_(flags) {}
    void Compare(bool is_null) noexcept { agrees_ = agrees_ && flags_[next_++] == is_null; }
    result_t result() const noexcept { return agrees_ ? result::kOk : result::kInvalidArgument; }

private:
    const NullFlags& flags_;
    std::size_t next_ = 0;
    bool agrees_ = true;
};

// The caller's arguments of a method with the parameters P.
template <class... P>
class ProxyArgumentsOf final : public ProxyArguments {
public:
    explicit ProxyArgumentsOf(P... arguments)
        : ProxyArguments((std::size_t{Parameter<P>::ProxySide::kInInterface} + ... + 0),
                         (std::size_t{Parameter<P>::ProxySide::kOutInterface} + ... + 0)),
          parameters_(static_cast<P>(arguments)...) {
        if constexpr (sizeof...(P) > 0) {
            ForEach(parameters_, [&](auto& parameter) {
                if constexpr (std::is_same_v<std::remove_reference_t<decltype(parameter)>,
                                             Parameter<void**>::ProxySide>) {
                    parameter.SetRequestedId(std::get<0>(std::tie(arguments...)));
                }
            });
        }
    }

    result_t MarshalInputs(Connection& connection) override {
        connection_ = &connection;
        return UntilFailure(parameters_, [&](auto& p) { return p.Marshal(connection); });
    }
    void SerializeInputs(serialization::Writer& writer) override {
        ForEach(parameters_, [&](auto& p) { p.Serialize(writer); });
    }
    void CollectInputFlags(NullFlags& flags) const override {
        ForEach(parameters_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kInInterface) flags.Add(p.IsNull());
        });
    }
    void InputsDelivered() noexcept override {
        ForEach(parameters_, [](auto& p) { p.MarkDelivered(); });
    }
    std::span<std::byte> FindLanding(serialization::Reader& reader) noexcept override {
        std::span<std::byte> storage;
        if (Failed(reader.Read<result_t>())) return storage;
        bool next = true;
        ForEach(parameters_, [&](auto& p) { next = next && p.FindLanding(reader, storage); });
        return Succeeded(reader.result()) ? storage : std::span<std::byte>();
    }
    void OutputsLanded() noexcept override {
        ForEach(parameters_, [](auto& p) { p.MarkLanded(); });
    }
    void DeserializeOutputs(serialization::Reader& reader) override {
        answer_ = reader.Read<result_t>();
        if (Failed(answer_)) return;
        ForEach(parameters_, [&](auto& p) { p.Deserialize(reader, *connection_); });
        CheckCounts(reader, std::index_sequence_for<P...>());
    }
    result_t CheckOutputFlags(const NullFlags& flags) const noexcept override {
        FlagCheck check(flags);
        ForEach(parameters_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kOutInterface) {
                check.Compare(p.IsNull());
            }
        });
        return check.result();
    }
    result_t DemarshalOutputs(Connection& connection) override {
        return UntilFailure(parameters_, [&](auto& p) { return p.Demarshal(connection); });
    }
    result_t Commit() noexcept override {
        if (Succeeded(answer_)) ForEach(parameters_, [](auto& p) { p.Commit(); });
        return answer_;
    }

private:
    template <std::size_t... Index>
    void CheckCounts(serialization::Reader& reader, std::index_sequence<Index...>) {
        (
            [&] {
                if constexpr (std::is_same_v<P, std::span<std::byte>>) {
                    const auto count = std::get<Index + 1>(parameters_).value();
                    if (!std::get<Index>(parameters_).IsFilledBy(count)) {
                        reader.Fail(result::kInvalidSize);
                    }
                }
            }(),
            ...);
    }

    std::tuple<typename Parameter<P>::ProxySide...> parameters_;
    Connection* connection_ = nullptr;
    result_t answer_ = result::kUnexpected;
};

// The arguments that a stub calls a method with the parameters P with. `Call` takes the object and
// the parameters and gives the method's result.
template <class Object, class Call, class... P>
class StubArgumentsOf final : public StubArguments {
public:
    StubArgumentsOf(Object& object, Connection& connection, Call call)
        : StubArguments((std::size_t{Parameter<P>::StubSide::kInInterface} + ... + 0),
                        (std::size_t{Parameter<P>::StubSide::kOutInterface} + ... + 0)),
          object_(object),
          connection_(connection),
          call_(call) {
        BindFillCounts(std::index_sequence_for<P...>());
    }

    void DeserializeInputs(serialization::Reader& reader) override {
        ForEach(parameters_, [&](auto& p) { p.Deserialize(reader, connection_); });
    }
    result_t CheckInputFlags(const NullFlags& flags) const noexcept override {
        FlagCheck check(flags);
        ForEach(parameters_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kInInterface) {
                check.Compare(p.IsNull());
            }
        });
        return check.result();
    }
    result_t DemarshalInputs(Connection& connection) override {
        BindRequestedIds(std::index_sequence_for<P...>());
        return UntilFailure(parameters_, [&](auto& p) { return p.Demarshal(connection); });
    }
    void Invoke() override {
        struct InputsGivenBack {
            StubArgumentsOf& self;
            ~InputsGivenBack() {
                ForEach(self.parameters_, [](auto& p) { p.ReleaseInput(); });
            }
        } const given_back{*this};
        answer_ =
            std::apply([&](auto&... p) { return call_(object_, p.Argument()...); }, parameters_);
    }
    result_t MarshalOutputs(Connection& connection) override {
        if (Failed(answer_)) return result::kOk;
        return UntilFailure(parameters_, [&](auto& p) { return p.Marshal(connection); });
    }
    void SerializeOutputs(serialization::Writer& writer) override {
        writer.Write(answer_);
        if (Failed(answer_)) return;
        ForEach(parameters_, [&](auto& p) { p.Serialize(writer); });
    }
    void CollectOutputFlags(NullFlags& flags) const override {
        ForEach(parameters_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kOutInterface) {
                flags.Add(Failed(answer_) || p.IsNull());
            }
        });
    }
    void OutputsDelivered() noexcept override {
        ForEach(parameters_, [](auto& p) { p.MarkDelivered(); });
    }

private:
    template <std::size_t I>
    using ParameterAt = std::tuple_element_t<I, std::tuple<P...>>;

    // Storage to fill is filled as far as the parameter after it says.
    template <std::size_t... Index>
    void BindFillCounts(std::index_sequence<Index...>) {
        (
            [&] {
                if constexpr (std::is_same_v<ParameterAt<Index>, std::span<std::byte>>) {
                    static_assert(std::is_same_v<ParameterAt<Index + 1>, std::uint32_t&>);
                    std::get<Index>(parameters_)
                        .BindFillCount(std::get<Index + 1>(parameters_).value());
                }
            }(),
            ...);
    }

    // An interface that is asked for by id has that of the first parameter.
    template <std::size_t... Index>
    void BindRequestedIds(std::index_sequence<Index...>) {
        (
            [&] {
                if constexpr (std::is_same_v<ParameterAt<Index>, void**>) {
                    static_assert(std::is_same_v<ParameterAt<0>, interface_id_t>);
                    std::get<Index>(parameters_).SetRequestedId(std::get<0>(parameters_).value());
                }
            }(),
            ...);
    }

    Object& object_;
    Connection& connection_;
    Call call_;
    std::tuple<typename Parameter<P>::StubSide...> parameters_;
    result_t answer_ = result::kUnexpected;
};

}  // namespace vek::remoting
