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

// One flag after another against the parameters that they are of.
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

template <class... P>
class SentArguments final : public ProxyArguments {
public:
    explicit SentArguments(P... arguments) : sent_(static_cast<P>(arguments)...) {
        if constexpr (sizeof...(P) > 0) {
            ForEach(sent_, [&](auto& parameter) {
                if constexpr (std::is_same_v<std::remove_reference_t<decltype(parameter)>,
                                             Parameter<void**>::Sent>) {
                    parameter.Ask(std::get<0>(std::tie(arguments...)));
                }
            });
        }
    }

    result_t MarshalInputs(Connection& connection) override {
        connection_ = &connection;
        return UntilFailure(sent_, [&](auto& p) { return p.Marshal(connection); });
    }
    void SerializeInputs(serialization::Writer& writer) override {
        ForEach(sent_, [&](auto& p) { p.Serialize(writer); });
    }
    void CollectInputFlags(NullFlags& flags) const override {
        ForEach(sent_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kInInterface) flags.Add(p.IsNull());
        });
    }
    void InputsArrived() noexcept override {
        ForEach(sent_, [](auto& p) { p.Arrived(); });
    }
    std::size_t OutputInterfaces() const noexcept override {
        return (std::size_t{Parameter<P>::Sent::kOutInterface} + ... + 0);
    }
    void DeserializeOutputs(serialization::Reader& reader) override {
        answer_ = reader.Read<result_t>();
        if (Failed(answer_)) return;
        ForEach(sent_, [&](auto& p) { p.Deserialize(reader, *connection_); });
        CheckCounts(reader, std::index_sequence_for<P...>());
    }
    result_t CheckOutputFlags(const NullFlags& flags) const noexcept override {
        FlagCheck check(flags);
        ForEach(sent_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kOutInterface) {
                check.Compare(p.IsNull());
            }
        });
        return check.result();
    }
    result_t DemarshalOutputs(Connection& connection) override {
        return UntilFailure(sent_, [&](auto& p) { return p.Demarshal(connection); });
    }
    result_t Commit() noexcept override {
        if (Succeeded(answer_)) ForEach(sent_, [](auto& p) { p.Commit(); });
        return answer_;
    }

private:
    template <std::size_t... Index>
    void CheckCounts(serialization::Reader& reader, std::index_sequence<Index...>) {
        (
            [&] {
                if constexpr (std::is_same_v<P, std::span<std::byte>>) {
                    const auto count = std::get<Index + 1>(sent_).value();
                    if (!std::get<Index>(sent_).IsFilledBy(count)) {
                        reader.Fail(result::kInvalidSize);
                    }
                }
            }(),
            ...);
    }

    std::tuple<typename Parameter<P>::Sent...> sent_;
    Connection* connection_ = nullptr;
    result_t answer_ = result::kUnexpected;
};

// `Call` takes the object and the parameters and gives the method's result.
template <class Object, class Call, class... P>
class ReceivedArguments final : public StubArguments {
public:
    ReceivedArguments(Object& object, Connection& connection, Call call)
        : object_(object), connection_(connection), call_(call) {
        Link(std::index_sequence_for<P...>());
    }

    std::size_t InputInterfaces() const noexcept override {
        return (std::size_t{Parameter<P>::Received::kInInterface} + ... + 0);
    }
    void DeserializeInputs(serialization::Reader& reader) override {
        ForEach(received_, [&](auto& p) { p.Deserialize(reader, connection_); });
    }
    result_t CheckInputFlags(const NullFlags& flags) const noexcept override {
        FlagCheck check(flags);
        ForEach(received_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kInInterface) {
                check.Compare(p.IsNull());
            }
        });
        return check.result();
    }
    result_t DemarshalInputs(Connection& connection) override {
        AskByFirst(std::index_sequence_for<P...>());
        return UntilFailure(received_, [&](auto& p) { return p.Demarshal(connection); });
    }
    void Invoke() override {
        struct InputsGivenBack {
            ReceivedArguments& self;
            ~InputsGivenBack() {
                ForEach(self.received_, [](auto& p) { p.ReleaseInput(); });
            }
        } const given_back{*this};
        answer_ = std::apply([&](auto&... p) { return call_(object_, p.Pass()...); }, received_);
    }
    result_t MarshalOutputs(Connection& connection) override {
        if (Failed(answer_)) return result::kOk;
        return UntilFailure(received_, [&](auto& p) { return p.Marshal(connection); });
    }
    void SerializeOutputs(serialization::Writer& writer) override {
        writer.Write(answer_);
        if (Failed(answer_)) return;
        ForEach(received_, [&](auto& p) { p.Serialize(writer); });
    }
    void CollectOutputFlags(NullFlags& flags) const override {
        ForEach(received_, [&](auto& p) {
            if constexpr (std::remove_reference_t<decltype(p)>::kOutInterface) {
                flags.Add(Failed(answer_) || p.IsNull());
            }
        });
    }
    void OutputsArrived() noexcept override {
        ForEach(received_, [](auto& p) { p.Arrived(); });
    }

private:
    template <std::size_t I>
    using ParameterAt = std::tuple_element_t<I, std::tuple<P...>>;

    // A range that is filled finds out how far from the parameter after it.
    template <std::size_t... Index>
    void Link(std::index_sequence<Index...>) {
        (
            [&] {
                if constexpr (std::is_same_v<ParameterAt<Index>, std::span<std::byte>>) {
                    static_assert(std::is_same_v<ParameterAt<Index + 1>, std::uint32_t&>);
                    std::get<Index>(received_).FilledBy(std::get<Index + 1>(received_).value());
                }
            }(),
            ...);
    }

    template <std::size_t... Index>
    void AskByFirst(std::index_sequence<Index...>) {
        (
            [&] {
                if constexpr (std::is_same_v<ParameterAt<Index>, void**>) {
                    static_assert(std::is_same_v<ParameterAt<0>, interface_id_t>);
                    std::get<Index>(received_).Ask(std::get<0>(received_).value());
                }
            }(),
            ...);
    }

    Object& object_;
    Connection& connection_;
    Call call_;
    std::tuple<typename Parameter<P>::Received...> received_;
    result_t answer_ = result::kUnexpected;
};

}  // namespace vek::remoting
