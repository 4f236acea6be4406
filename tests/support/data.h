// Makers of test data: a kind and a seed give a function of the position, for GuardedImage::generate.
//
//   src.generate(Maker<Qor16u>(Data::NearTop, seed));
//   mask.generate(MaskMaker(Mask::Sparse, seed));
#pragma once

#include <stdint.h>

#include <limits>
#include <type_traits>

#include "qorcv/types.h"
#include "support/case.h"

namespace qortest {

enum class Data {
  Random,      // integers: the full range; floats: -1000 to 1000
  NearBottom,  // lowest value of the type and the three above; floats: -1e6 and near
  NearTop,     // highest value and the three below; floats: 1e6 and near
  Constant,
  Checker,  // lowest and highest in turns; floats: -1 and 1
  RampX,
  RampY,
  Few,  // 0 to 3: ties and plateaus
  // floats only
  Denormal,
  Huge,    // within a factor of four of the largest: sums and squares overflow
  Special  // among random values every fourth a NaN, infinity, zero, smallest or largest
};

constexpr const char* dataNames[] = {"Random", "NearBottom", "NearTop",  "Constant", "Checker", "RampX",
                                     "RampY",  "Few",        "Denormal", "Huge",     "Special"};

// How many of the kinds a sweep may draw from for a type.
template <class T>
constexpr int dataKinds(bool finite) {
  if constexpr (std::is_floating_point_v<T>) return static_cast<int>(finite ? Data::Huge : Data::Special) + !finite;
  return static_cast<int>(Data::Denormal);
}

template <class T>
class Maker {
 public:
  Maker(Data kind, uint64_t seed) : kind_(kind), random_(seed), constant_(random()) {}

  T operator()(int x, int y, int c) {
    if constexpr (std::is_floating_point_v<T>) return real(x, y, c);
    const uint64_t lowest = static_cast<uint64_t>(std::numeric_limits<T>::lowest());
    const uint64_t highest = static_cast<uint64_t>(std::numeric_limits<T>::max());
    // Modulo the type's range, as conversions to it are.
    switch (kind_) {
      case Data::NearBottom:
        return static_cast<T>(lowest + random_.below(4));
      case Data::NearTop:
        return static_cast<T>(highest - random_.below(4));
      case Data::Constant:
        return constant_;
      case Data::Checker:
        return static_cast<T>(((x + y + c) & 1) != 0 ? highest : lowest);
      case Data::RampX:
        return static_cast<T>(5 * x + 3 * y + 7 * c);
      case Data::RampY:
        return static_cast<T>(-x + 9 * y + c);
      case Data::Few:
        return static_cast<T>(random_.below(4));
      default:
        return random();
    }
  }

 private:
  using Limits = std::numeric_limits<T>;

  T random() {
    if constexpr (std::is_floating_point_v<T>) return static_cast<T>(2000 * random_.unit() - 1000);
    return static_cast<T>(random_.bits());
  }

  T real(int x, int y, int c) {
    const T sign = random_.oneIn(2) ? T(-1) : T(1);
    switch (kind_) {
      case Data::NearBottom:
        return static_cast<T>(-1e6 + random_.unit());
      case Data::NearTop:
        return static_cast<T>(1e6 + random_.unit());
      case Data::Constant:
        return constant_;
      case Data::Checker:
        return ((x + y + c) & 1) != 0 ? T(1) : T(-1);
      case Data::RampX:
        return static_cast<T>(0.5 * x + 3 * y + 7 * c);
      case Data::RampY:
        return static_cast<T>(-x + 0.25 * y + c);
      case Data::Few:
        return static_cast<T>(random_.below(4));
      case Data::Denormal:
        return static_cast<T>(sign * Limits::denorm_min() * random_.below(1000));
      case Data::Huge:
        return static_cast<T>(sign * Limits::max() * static_cast<T>(0.25 + 0.75 * random_.unit()));
      case Data::Special:
        return random_.oneIn(4) ? sign * special() : random();
      default:
        return random();
    }
  }

  T special() {
    const T values[] = {Limits::quiet_NaN(),  Limits::infinity(), T(0),
                        Limits::denorm_min(), Limits::min(),      Limits::max()};
    return values[random_.below(6)];
  }

  Data kind_;
  Random random_;
  T constant_;
};

enum class Mask { Dense, Sparse, Half, Runs, Ones, Zero };

constexpr const char* maskNames[] = {"Dense", "Sparse", "Half", "Runs", "Ones", "Zero"};

// What is not 0 takes any value from 1 to 255.
class MaskMaker {
 public:
  MaskMaker(Mask kind, uint64_t seed) : kind_(kind), random_(seed) {}

  Qor8u operator()(int, int, int) {
    const int on = random_.between(1, 255);
    switch (kind_) {
      case Mask::Dense:
        return static_cast<Qor8u>(random_.oneIn(16) ? 0 : on);
      case Mask::Sparse:
        return static_cast<Qor8u>(random_.oneIn(16) ? on : 0);
      case Mask::Half:
        return static_cast<Qor8u>(random_.oneIn(2) ? on : 0);
      case Mask::Runs:
        if (left_-- == 0) left_ = random_.below(150), taken_ = !taken_;
        return static_cast<Qor8u>(taken_ ? on : 0);
      case Mask::Ones:
        return static_cast<Qor8u>(on);
      default:
        return 0;
    }
  }

 private:
  Mask kind_;
  Random random_;
  int left_ = 0;
  bool taken_ = false;
};

}  // namespace qortest
