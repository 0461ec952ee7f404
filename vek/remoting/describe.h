#pragma once

// The description of a remote interface, from which its proxy and its stub follow:
//
//     namespace vek::remoting {
//     VEK_REMOTE_INTERFACE(plugins::IDataStream,
//                          (Read, method_attribute::kNone),
//                          (Write, method_attribute::kNone))
//     }
//
// lists all methods of the interface in the order of their slots, each with its attributes. The
// parameters follow from the methods' types (parameter.h). FactoryOf<I>() then gives what
// ProxyStubFactories takes.
//
// Needs a preprocessor that conforms to C++20 (/Zc:preprocessor for MSVC).

#include <array>
#include <cstddef>

#include "vek/core/service_locator.h"
#include "vek/remoting/proxy.h"
#include "vek/remoting/proxy_stub_factory.h"

namespace vek::remoting {

// Specialised by VEK_REMOTE_INTERFACE.
template <class I>
struct RemoteInterface;

// Serves calls of one method: takes the arguments as the method's type says, calls it, replies.
template <auto Method>
struct MethodStub;

template <class I, class... P, bool kNoThrow, result_t (I::*Method)(P...) noexcept(kNoThrow)>
struct MethodStub<Method> {
    static void Invoke(IObject& object, const Invocation& invocation) noexcept {
        const auto call = [](I& target, P... arguments) {
            return (target.*Method)(static_cast<P>(arguments)...);
        };
        StubArgumentsOf<I, decltype(call), P...> arguments(static_cast<I&>(object),
                                                           invocation.connection(), call);
        InvokeAbstractedMethod6(invocation, arguments);
    }
};

// A class that implements one method of an interface upon another that implements those before.
template <template <class Base, std::size_t Index> class... Layers>
struct Layered {
    template <class Base, std::size_t Index>
    struct Over {
        using type = Base;
    };
};

template <template <class, std::size_t> class First, template <class, std::size_t> class... Rest>
struct Layered<First, Rest...> {
    template <class Base, std::size_t Index>
    struct Over {
        using type = typename Layered<Rest...>::template Over<First<Base, Index>, Index + 1>::type;
    };
};

// Layered, less the first, which is there for the comma after it.
template <template <class, std::size_t> class, template <class, std::size_t> class... Layers>
using LayersAfter = Layered<Layers...>;

// The proxy of an interface whose calls are all sent as they are made.
template <class I>
using Proxy = typename RemoteInterface<I>::Layers::template Over<ProxyBase<I>, 0>::type;

template <class I, class P>
void NewProxy(std::shared_ptr<RemoteObject> object, void** proxy) {
    *proxy = static_cast<I*>(new P(std::move(object)));
}

// `P` is the proxy's class, for an interface whose proxy does more.
template <class I, class P = Proxy<I>>
const ProxyStubFactory* FactoryOf() noexcept {
    static constexpr ProxyStubFactory kFactory{I::kInterfaceId, RemoteInterface<I>::kName,
                                               ProxyStubFactory::kModernVersion,
                                               RemoteInterface<I>::kMethods, &NewProxy<I, P>};
    return &kFactory;
}

}  // namespace vek::remoting

// Calls `macro` with each of the parenthesised lists that follow it: up to 64 of them.
#define VEK_PARENTHESES ()
#define VEK_EXPAND(...) VEK_EXPAND3(VEK_EXPAND3(VEK_EXPAND3(VEK_EXPAND3(__VA_ARGS__))))
#define VEK_EXPAND3(...) VEK_EXPAND2(VEK_EXPAND2(VEK_EXPAND2(VEK_EXPAND2(__VA_ARGS__))))
#define VEK_EXPAND2(...) VEK_EXPAND1(VEK_EXPAND1(VEK_EXPAND1(VEK_EXPAND1(__VA_ARGS__))))
#define VEK_EXPAND1(...) __VA_ARGS__
#define VEK_FOR_EACH(macro, ...) __VA_OPT__(VEK_EXPAND(VEK_FOR_EACH_STEP(macro, __VA_ARGS__)))
#define VEK_FOR_EACH_STEP(macro, list, ...) \
    macro list __VA_OPT__(VEK_FOR_EACH_AGAIN VEK_PARENTHESES(macro, __VA_ARGS__))
#define VEK_FOR_EACH_AGAIN() VEK_FOR_EACH_STEP

// A method's proxy: overrides the method with the parameters of its type.
#define VEK_REMOTE_METHOD_LAYER(Name, Attributes)                                         \
    template <class Base, std::size_t Index, class Method>                                \
    struct Name##Over;                                                                    \
    template <class Base, std::size_t Index, class Owner, class... P, bool kNoThrow>      \
    struct Name##Over<Base, Index, result_t (Owner::*)(P...) noexcept(kNoThrow)> : Base { \
        using Base::Base;                                                                 \
        result_t Name(P... arguments) noexcept(kNoThrow) override {                       \
            return this->template Call<P...>(                                             \
                static_cast<method_id_t>(method_id::kFirstOwn + Index), Attributes,       \
                static_cast<P>(arguments)...);                                            \
        }                                                                                 \
    };                                                                                    \
    template <class Base, std::size_t Index>                                              \
    struct Name##Layer : Name##Over<Base, Index, decltype(&Interface::Name)> {            \
        using Name##Over<Base, Index, decltype(&Interface::Name)>::Name##Over;            \
    };

#define VEK_REMOTE_METHOD_LAYER_NAME(Name, Attributes) , Name##Layer
#define VEK_REMOTE_METHOD_DESCRIPTION(Name, Attributes) \
    MethodDescription{#Name, Attributes, &MethodStub<&Interface::Name>::Invoke},

#define VEK_REMOTE_INTERFACE(InterfaceType, ...)                                         \
    template <>                                                                          \
    struct RemoteInterface<InterfaceType> {                                              \
        using Interface = InterfaceType;                                                 \
        static constexpr const char* kName = #InterfaceType;                             \
        VEK_FOR_EACH(VEK_REMOTE_METHOD_LAYER, __VA_ARGS__)                               \
        template <class Base, std::size_t>                                               \
        using Ground = Base;                                                             \
        using Layers =                                                                   \
            LayersAfter<Ground VEK_FOR_EACH(VEK_REMOTE_METHOD_LAYER_NAME, __VA_ARGS__)>; \
        static constexpr auto kMethods = std::to_array<MethodDescription>(               \
            {VEK_FOR_EACH(VEK_REMOTE_METHOD_DESCRIPTION, __VA_ARGS__)});                 \
    };

namespace vek::remoting {

// The one remote interface that connections themselves need.
VEK_REMOTE_INTERFACE(IServiceLocator, (GetInterface, method_attribute::kNone))

}  // namespace vek::remoting
