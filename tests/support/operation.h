// An operation without its type: what is said of operations is then worked on by code that is compiled once.
//
//   const Operation absDiff = operation("qoriAbsDiff_8u_C1R", qoriAbsDiff_8u_C1R);
//   std::vector<Slot> arguments(absDiff.parameters.size());
//   arguments[6].as<QoriSize>() = {17, 5};
//   const QorStatus status = absDiff.call(arguments.data());
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <type_traits>
#include <utility>
#include <vector>

#include "qorcv/types.h"

namespace qortest {

// Room for one argument of any type.
struct Slot {
  alignas(8) unsigned char bytes[16] = {};

  template <class T>
  T& as() {
    static_assert(sizeof(T) <= sizeof bytes);
    return *reinterpret_cast<T*>(bytes);
  }
  template <class T>
  const T& as() const {
    return const_cast<Slot*>(this)->as<T>();
  }
};

enum class Sample : uint8_t { Other, S8, U8, S16, U16, S32, U32, S64, U64, F32, F64 };

template <class T>
constexpr Sample sampleOf() {
  using enum Sample;
  if constexpr (std::is_integral_v<T>) {
    constexpr Sample signedOnes[] = {S8, S16, S32, S64}, unsignedOnes[] = {U8, U16, U32, U64};
    constexpr int log = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) == 4 ? 2 : 3;
    return std::is_signed_v<T> ? signedOnes[log] : unsignedOnes[log];
  }
  return std::is_same_v<T, float> ? F32 : std::is_same_v<T, double> ? F64 : Other;
}

// f(T()) for the type of a number.
template <class F>
auto withSample(Sample sample, F f) {
  switch (sample) {
    case Sample::S8:
      return f(int8_t());
    case Sample::U8:
      return f(uint8_t());
    case Sample::S16:
      return f(int16_t());
    case Sample::U16:
      return f(uint16_t());
    case Sample::U32:
      return f(uint32_t());
    case Sample::S64:
      return f(int64_t());
    case Sample::U64:
      return f(uint64_t());
    case Sample::F32:
      return f(float());
    case Sample::F64:
      return f(double());
    default:
      return f(int32_t());
  }
}

struct Parameter {
  enum Kind : uint8_t { Number, Pointer, List, Size, Structure };  // a list is a pointer to pointers

  Kind kind = Number;
  Sample sample = Sample::Other;  // of the number, of what is pointed at, or of what the list points at
  size_t bytes = 0;               // of the same; 0 when that is not known
  bool isWritten = false;         // what is pointed at is not const
};

template <class T>
constexpr size_t bytesOf() {
  if constexpr (requires { sizeof(T); }) return sizeof(T);
  return 0;
}

template <class A>
constexpr Parameter parameterOf() {
  if constexpr (std::is_pointer_v<A>) {
    using To = std::remove_pointer_t<A>;
    using Last = std::remove_cv_t<std::remove_pointer_t<To>>;
    constexpr bool isList = std::is_pointer_v<To>;
    return {isList ? Parameter::List : Parameter::Pointer, sampleOf<Last>(), bytesOf<Last>(),
            !std::is_const_v<std::remove_pointer_t<To>>};
  } else if constexpr (std::is_same_v<A, QoriSize>) {
    return {Parameter::Size, Sample::Other, sizeof(A)};
  } else {
    return {std::is_arithmetic_v<A> ? Parameter::Number : Parameter::Structure, sampleOf<A>(), sizeof(A)};
  }
}

struct Operation {
  using Function = void (*)();

  const char* name;
  Function function;
  QorStatus (*invoke)(Function function, Slot* arguments);
  std::vector<Parameter> parameters;

  QorStatus call(Slot* arguments) const { return invoke(function, arguments); }
};

template <class R, class... A>
Operation operation(const char* name, R (*function)(A...)) {
  const auto invoke = [](Operation::Function f, Slot* arguments) -> QorStatus {
    return [&]<size_t... I>(std::index_sequence<I...>)->QorStatus {
      const auto typed = reinterpret_cast<R (*)(A...)>(f);
      if constexpr (std::is_same_v<R, void>)
        return typed(arguments[I].template as<std::remove_cv_t<A>>()...), qorStsNoErr;
      else
        return static_cast<QorStatus>(typed(arguments[I].template as<std::remove_cv_t<A>>()...));
    }
    (std::index_sequence_for<A...>());
  };
  return {name, reinterpret_cast<Operation::Function>(function), invoke, {parameterOf<std::remove_cv_t<A>>()...}};
}

}  // namespace qortest
