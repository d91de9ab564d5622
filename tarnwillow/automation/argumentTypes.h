// Which pointers have overloads of their own. All others are refused: one that the compiler turned
// into `bool` would be an argument that nobody meant.
#pragma once

#include <concepts>
#include <type_traits>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

template <class T, class... Others>
concept OneOf = (std::same_as<std::remove_cv_t<T>, Others> || ...);

template <class T>
concept InterfaceType = std::convertible_to<T*, IUnknown*>;

template <class T>
concept NoValue = !OneOf<T, char, char16_t> && !std::convertible_to<T*, VARIANT const*>;

template <class T>
concept NoValueOrObject = NoValue<T> && !InterfaceType<T>;

}  // namespace tarnwillow
