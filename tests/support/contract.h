// The contract check: which arguments are refused, with which status, and which check comes first.
//
//   Contract c(QORTEST_NAMED(qoriThing_16u_C3CMR));
//   QORTEST_ARGUMENTS(c, pSrc, srcStep, pMask, maskStep, roi, coi, pMean, pDev, value);
//   c.null(pSrc, pMask);                       // one line a check, in the order of the checks
//   c.size(roi);                               // width, then height
//   c.step(3 * sizeof(Qor16u), srcStep);       // minimum: so many bytes a pixel
//   c.even(sizeof(Qor16u), srcStep);           // here before the next image's minimum; nothing for single bytes
//   c.step(1, maskStep);
//   c.oneOf(coi, qorStsCOIErr, 1, 2, 3);
//   c.optional(pMean, pDev);                   // null is no error; order does not matter for these two
//   c.any(value, -5, 0, 300);                  // accepted whatever it is
//   c.run();
//
// A line gives a check (what fails it) and ways to violate it. run() drives every single violation, every pair of
// violations in both orders, and sizes whose product with a sample size wraps around; each call must return the status
// of the first check in the list that fails. All pointers are then inaccessible, so that nothing is read or written.
// Afterwards it drives accepted calls on readable memory: the least steps, the legal values and limits, null in place
// of optional pointers. A check that never decides a call alone, and an argument without a line, are failures.
//
// More:
//   c.step([&] { return 4 * (ptrdiff_t{c[roi].width} + 1); }, dstStep);      // another minimum
//   c.atLeast(sigma, qorStsBadArgErr, 0.0F);   c.range(ax, qorStsAnchorErr, 0, 4);
//   c.range(rect, qorStsBadArgErr, 1, 100, &QoriRect::width);                // a field of a structure
//   c.check("same image", qorStsInPlaceErr, [&] { return c[pSrc] == c[pDst]; }, [&] { c[pDst] = c[pSrc]; });
//   c.null(qorStsMemAllocErr, pBuffer);        // another status than the usual; size, step and even too
//   c.set(roi, {40, 30});                      // another valid value; also for an argument that no check concerns
//   c.memory(pState, record);                  // a real record for the accepted calls
//   c.set(pState, record);                     // and for all calls, when a check reads it
//   c.errorsOnly();                            // no accepted calls
//   c.succeedsWith(qorStsDivByZero);           // what the accepted calls return
#pragma once

#include <limits.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/guarded.h"

namespace qortest {

// What does not depend on the types of the arguments: the list of checks and the driving of it. All functions work on
// one set of present arguments, which reset() makes valid.
class ContractEngine {
 public:
  using Action = std::function<void()>;

  struct Step {
    std::string label;
    Action act;
  };

  struct Check {
    std::string label;
    QorStatus status;
    std::function<bool()> fails;
    std::vector<Step> violations;
  };

  struct Hooks {
    std::function<QorStatus()> call;
    Action reset;           // valid arguments, pointers inaccessible
    Action makeAccessible;  // pointers to memory
    std::function<std::string()> describe;
  };

  ContractEngine(const char* name, Hooks hooks) : name_(name), hooks_(std::move(hooks)) {}

  void add(Check check) { checks_.push_back(std::move(check)); }
  void accept(std::string label, Action act) { accepted_.push_back({std::move(label), std::move(act)}); }
  void stress(std::string label, Action act) { stresses_.push_back({std::move(label), std::move(act)}); }
  void run(bool acceptedToo, QorStatus success);

 private:
  int firstFailing() const;
  void expectStatus(QorStatus want, const std::string& what);
  void drive(const std::vector<const Step*>& steps);
  void driveErrors();
  void driveAccepted(QorStatus success);

  std::string name_;
  Hooks hooks_;
  std::vector<Check> checks_ = {};
  std::vector<Step> accepted_ = {};
  std::vector<Step> stresses_ = {};
  std::vector<bool> decidedAlone_ = {};
  int failures_ = 0;
};

// Position of an argument, as a type.
template <size_t I>
struct At {};

template <class... A>
class Contract {
 public:
  using Args = std::tuple<A...>;
  template <size_t I>
  using Arg = std::tuple_element_t<I, Args>;

  Contract(const char* name, QorStatus (*operation)(A...))
      : engine_(name, {[this, operation] { return std::apply(operation, args_); }, [this] { reset(base_); },
                       [this] { reset(reachable_); }, [this] { return describe(); }}) {
    prepare(std::index_sequence_for<A...>());
  }
  Contract(const Contract&) = delete;
  Contract& operator=(const Contract&) = delete;

  // For QORTEST_ARGUMENTS: keeps the names, gives the positions.
  auto arguments(std::string names) {
    for (size_t i = 0; i < sizeof...(A); ++i) {
      const size_t end = std::min(names.find(','), names.size());
      names_[i] = names.substr(0, end);
      names.erase(0, end == names.size() ? end : names.find_first_not_of(", ", end));
    }
    return positions(std::index_sequence_for<A...>());
  }

  // The present value of an argument, for the functions given to check() and step().
  template <size_t I>
  Arg<I>& operator[](At<I>) {
    return std::get<I>(args_);
  }

  template <size_t... I>
  void null(QorStatus status, At<I>... at) {
    (check(
         label(at, "null"), status, [=, this] { return (*this)[at] == nullptr; }, [=, this] { (*this)[at] = nullptr; }),
     ...);
    (hasLine(at), ...);
  }

  template <size_t... I>
  void null(At<I>... at) {
    null(qorStsNullPtrErr, at...);
  }

  template <size_t... I>
  void optional(At<I>... at) {
    (engine_.accept(label(at, "null"), [=, this] { (*this)[at] = nullptr; }), ...);
    if (sizeof...(I) > 1) engine_.accept("all optional null", [=, this] { (((*this)[at] = nullptr), ...); });
    (hasLine(at), ...);
  }

  template <size_t I>
  void size(QorStatus status, At<I> at) {
    atLeast(at, status, 1, &QoriSize::width);
    atLeast(at, status, 1, &QoriSize::height);
    addStressSizes(at);
  }

  template <size_t I>
  void size(At<I> at) {
    size(qorStsSizeErr, at);
  }

  // The minimum is a number of bytes a pixel of the operation's first QoriSize, or a function that gives the bytes.
  template <class M, size_t... I>
  void step(QorStatus status, M minimum, At<I>... at) {
    if constexpr (std::is_invocable_v<M>) {
      (stepOf(at, minimum, status), ...);
    } else {
      const ptrdiff_t pixel = static_cast<ptrdiff_t>(minimum);
      const At<sizePosition()> roi;
      (stepOf(
           at, [=, this] { return (*this)[roi].width * pixel; }, status),
       ...);
    }
  }

  template <class M, size_t... I>
  void step(M minimum, At<I>... at) {
    step(qorStsStepErr, minimum, at...);
  }

  template <size_t... I>
  void even(QorStatus status, size_t sampleBytes, At<I>... at) {
    if (sampleBytes > 1) (evenOf(at, static_cast<int>(sampleBytes), status), ...);
  }

  template <size_t... I>
  void even(size_t sampleBytes, At<I>... at) {
    even(qorStsNotEvenStepErr, sampleBytes, at...);
  }

  // Whole numbers lowest .. highest; a limit of INT_MIN or INT_MAX is none. The limits are accepted.
  template <size_t I, class... Field>
  void range(At<I> at, QorStatus status, int lowest, int highest, Field... field) {
    const auto value = [ =, this ]() -> auto& { return fieldOf((*this)[at], field...); };
    Steps violations;
    const auto violate = [&](int64_t v) {
      if (v < INT_MIN || v > INT_MAX) return;
      violations.push_back({label(at, "= " + std::to_string(v)), [=] { value() = static_cast<int>(v); }});
    };
    const auto limit = [&](int v) { engine_.accept(label(at, "= " + std::to_string(v)), [=] { value() = v; }); };
    violate(int64_t{lowest} - 1);
    violate(int64_t{highest} + 1);
    if (lowest != INT_MIN) violate(INT_MIN), limit(lowest);
    if (highest != INT_MAX) violate(INT_MAX), limit(highest);
    engine_.add({label(at, "outside " + std::to_string(lowest) + ".." + std::to_string(highest)), status,
                 [=] { return value() < lowest || value() > highest; }, std::move(violations)});
    if constexpr (sizeof...(Field) == 0) setBase(at, static_cast<Arg<I>>(lowest != INT_MIN ? lowest : highest));
    hasLine(at);
  }

  // Numbers, whole or not, from a lowest on, which is accepted.
  template <size_t I, class V, class... Field>
  void atLeast(At<I> at, QorStatus status, V lowest, Field... field) {
    const auto value = [ =, this ]() -> auto& { return fieldOf((*this)[at], field...); };
    using Value = std::remove_reference_t<decltype(value())>;
    if constexpr (std::is_floating_point_v<Value>) {
      const Value least = static_cast<Value>(lowest), infinity = std::numeric_limits<Value>::infinity();
      check(
          label(at, "below the least"), status, [=] { return value() < least; },
          [=] { value() = std::nextafter(least, -infinity); }, [=] { value() = -infinity; });
      engine_.accept(label(at, "least"), [=] { value() = least; });
      if constexpr (sizeof...(Field) == 0) setBase(at, least);
      hasLine(at);
    } else {
      range(at, status, lowest, INT_MAX, field...);
    }
  }

  // An enumerated argument: the values beside the legal ones, zero and the extremes are refused.
  template <size_t I, class... V>
  void oneOf(At<I> at, QorStatus status, V... legal) {
    const auto isLegal = [=](int v) { return ((v == static_cast<int>(legal)) || ...); };
    std::vector<int> tried = {0, -1, 256, INT_MIN, INT_MAX};
    (tried.insert(tried.end(), {static_cast<int>(legal) - 1, static_cast<int>(legal) + 1, static_cast<int>(legal) + 256,
                                static_cast<int>(legal) + 0x10000}),
     ...);
    Steps violations;
    for (const int v : tried)
      if (!isLegal(v)) violations.push_back({label(at, "= " + std::to_string(v)), [=, this] { (*this)[at] = v; }});
    engine_.add({label(at, "not legal"), status, [=, this] { return !isLegal((*this)[at]); }, std::move(violations)});
    any(at, legal...);
  }

  // Every value is accepted; these are tried.
  template <size_t I, class V, class... More>
  void any(At<I> at, V value, More... more) {
    const auto accept = [&](Arg<I> v) { engine_.accept(label(at, "another value"), [=, this] { (*this)[at] = v; }); };
    accept(static_cast<Arg<I>>(value));
    (accept(static_cast<Arg<I>>(more)), ...);
    setBase(at, static_cast<Arg<I>>(value));
    hasLine(at);
  }

  // Any other check: when the present arguments fail it, and ways to make them.
  template <class Fails, class... Violate>
  void check(const std::string& what, QorStatus status, Fails fails, Violate... violate) {
    engine_.add({what, status, fails, Steps{{what, violate}...}});
  }

  template <size_t I>
  void set(At<I> at, std::type_identity_t<Arg<I>> value) {
    std::get<I>(base_) = value;
    isSet_[I] = true;
    if constexpr (std::is_pointer_v<Arg<I>>) memory(at, value);
    hasLine(at);
  }

  // What the accepted calls get; whether null is refused is said elsewhere.
  template <size_t I>
  void memory(At<I>, std::type_identity_t<Arg<I>> pointer) {
    std::get<I>(reachable_) = pointer;
    isMemory_[I] = true;
  }

  void errorsOnly() { acceptedToo_ = false; }
  void succeedsWith(QorStatus status) { success_ = status; }

  void run() {
    for (size_t i = 0; i < sizeof...(A); ++i) EXPECT_TRUE(hasLine_[i]) << "nothing is said of " << names_[i];
    fillReachable(std::index_sequence_for<A...>());
    engine_.run(acceptedToo_, success_);
  }

 private:
  using Steps = std::vector<ContractEngine::Step>;

  static constexpr size_t sizePosition() {
    size_t position = 0;
    const bool found = ((std::is_same_v<A, QoriSize> || (++position, false)) || ...);
    return found ? position : 0;
  }

  static auto& fieldOf(auto& value) { return value; }
  static auto& fieldOf(auto& value, auto field) { return value.*field; }

  template <size_t... I>
  static std::tuple<At<I>...> positions(std::index_sequence<I...>) {
    return {};
  }

  template <size_t I>
  std::string label(At<I>, const std::string& what) const {
    return names_[I] + ' ' + what;
  }

  template <size_t I>
  void setBase(At<I>, Arg<I> value) {
    if (!isSet_[I]) std::get<I>(base_) = value;
  }

  template <size_t I>
  void hasLine(At<I>) {
    hasLine_[I] = true;
  }

  template <size_t... I>
  void prepare(std::index_sequence<I...>) {
    const auto one = [](auto& value, size_t i) {
      using V = std::remove_reference_t<decltype(value)>;
      value = V{};
      if constexpr (std::is_pointer_v<V>) value = noAccess<std::remove_pointer_t<V>>(static_cast<int>(i));
      if constexpr (std::is_same_v<V, QoriSize>) value = {17, 5};
    };
    (one(std::get<I>(base_), I), ...);
    ((names_[I] = "argument " + std::to_string(I)), ...);
  }

  template <size_t... I>
  void fillReachable(std::index_sequence<I...>) {
    const auto one = [this](auto& value, auto base, size_t i) {
      if (isMemory_[i]) return;
      value = base;
      if constexpr (std::is_pointer_v<decltype(base)>) {
        // Zeros on both sides of the address, for operations that read around their region.
        constexpr ptrdiff_t half = 1 << 17;
        blocks_.push_back(std::make_unique<GuardedBytes>(2 * half));
        memset(blocks_.back()->data(), 0, 2 * half);
        value = reinterpret_cast<decltype(base)>(blocks_.back()->data() + half);
      }
    };
    (one(std::get<I>(reachable_), std::get<I>(base_), I), ...);
  }

  // Steps get room above their minimum, so that a violated multiple and a violated minimum can be told apart.
  void reset(const Args& values) {
    args_ = values;
    for (const auto& setStep : stepSetters_) setStep();
  }

  template <size_t I, class F>
  void stepOf(At<I> at, F minimum, QorStatus status) {
    const auto setTo = [=, this](ptrdiff_t value) {
      (*this)[at] = static_cast<int>(value < INT_MIN ? INT_MIN : value > INT_MAX ? INT_MAX : value);
    };
    Steps violations;
    for (const int less : {1, 2, 4, 8})
      violations.push_back({label(at, std::to_string(less) + " below the least"), [=] { setTo(minimum() - less); }});
    violations.push_back({label(at, "= 0"), [=] { setTo(0); }});
    violations.push_back({label(at, "negated"), [=] { setTo(-minimum()); }});
    violations.push_back({label(at, "= INT_MIN"), [=] { setTo(INT_MIN); }});
    engine_.add(
        {label(at, "below the least"), status, [=, this] { return (*this)[at] < minimum(); }, std::move(violations)});
    engine_.accept(label(at, "least"), [=] { setTo(minimum()); });
    constexpr ptrdiff_t room = 64;
    stepSetters_.push_back([=] { setTo((minimum() + 2 * room - 1) / room * room); });
    hasLine(at);
  }

  template <size_t I>
  void evenOf(At<I> at, int sampleBytes, QorStatus status) {
    Steps violations;
    for (int more = 1; more < sampleBytes; more *= 2)
      violations.push_back({label(at, "and " + std::to_string(more)), [=, this] { (*this)[at] |= more; }});
    engine_.add({label(at, "no multiple of " + std::to_string(sampleBytes)), status,
                 [=, this] { return ((*this)[at] & (sampleBytes - 1)) != 0; }, std::move(violations)});
    if (!hasLine_[I]) setBase(at, 1024);
    hasLine(at);
  }

  // Widths whose product with 2, 3, 4, 6, 8 or 12 wraps around to something small or negative, and large areas; with
  // the steps of the small image, and with steps that fit where a step can.
  template <size_t I>
  void addStressSizes(At<I> at) {
    const int widths[] = {INT_MAX, 0x40000001, 0x55555556, 0x20000001, 0x2aaaaaab, 0x15555556, 0x10001, 17};
    for (const int width : widths) {
      const QoriSize size = {width, width > 0x10001 ? 3 : width == 17 ? INT_MAX : 0x10001};
      const std::string what = label(at, std::to_string(width) + " wide");
      engine_.stress(what, [=, this] { (*this)[at] = size; });
      engine_.stress(what + ", steps to match", [=, this] {
        (*this)[at] = size;
        for (const auto& setStep : stepSetters_) setStep();
      });
    }
  }

  std::string describe() const {
    std::ostringstream text;
    const auto one = [&](const auto& value) {
      using V = std::remove_cvref_t<decltype(value)>;
      if constexpr (std::is_pointer_v<V>)
        text << (value == nullptr ? " null" : " pointer");
      else if constexpr (std::is_same_v<V, QoriSize>)
        text << ' ' << value.width << 'x' << value.height;
      else if constexpr (std::is_arithmetic_v<V>)
        text << ' ' << +value;
      else
        text << " structure";
    };
    std::apply([&](const auto&... value) { (one(value), ...); }, args_);
    return text.str();
  }

  Args args_ = {}, base_ = {}, reachable_ = {};
  std::string names_[sizeof...(A)] = {};
  bool hasLine_[sizeof...(A)] = {}, isMemory_[sizeof...(A)] = {}, isSet_[sizeof...(A)] = {};
  std::vector<std::unique_ptr<GuardedBytes>> blocks_ = {};
  std::vector<std::function<void()>> stepSetters_ = {};
  bool acceptedToo_ = true;
  QorStatus success_ = qorStsNoErr;
  ContractEngine engine_;
};

}  // namespace qortest

// Names the positions of a contract's arguments, all of them.
#define QORTEST_ARGUMENTS(contract, ...) [[maybe_unused]] const auto [__VA_ARGS__] = contract.arguments(#__VA_ARGS__)
