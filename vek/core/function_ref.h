#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace vek {

template <class Signature>
class FunctionRef;

// A view of a callable: for a parameter that is called before the function returns. Costs no
// allocation, and must not outlive what it refers to.
template <class Result, class... Arguments>
class FunctionRef<Result(Arguments...)> {
    template <class Callable>
    static constexpr bool kAccepts = !std::is_same_v<std::remove_cvref_t<Callable>, FunctionRef> &&
                                     std::is_invocable_r_v<Result, Callable&, Arguments...>;

public:
    template <class Callable, std::enable_if_t<kAccepts<Callable>, int> = 0>
    FunctionRef(Callable&& callable) noexcept
        : object_(const_cast<void*>(static_cast<const void*>(std::addressof(callable)))),
          call_([](void* object, Arguments... arguments) -> Result {
              return (*static_cast<std::remove_reference_t<Callable>*>(object))(
                  std::forward<Arguments>(arguments)...);
          }) {}

    Result operator()(Arguments... arguments) const {
        return call_(object_, std::forward<Arguments>(arguments)...);
    }

private:
    void* object_;
    Result (*call_)(void*, Arguments...);
};

}  // namespace vek
