// The contract check: which arguments are refused, with which status, and which check comes first.
//
//   Contract c(QORTEST_NAMED(qoriThing_16u_C3CMR));
//   QORTEST_ARGUMENTS(c, pSrc, srcStep, pMask, maskStep, roi, coi, pMean, pDev, value);
//   c.null(pSrc, pMask);                       // one line a check, in the order of the checks
//   c.size(roi);                               // width, then height
//   c.step(3 * sizeof(Qor16u), srcStep);       // minimum: so many bytes a pixel
//   c.even(sizeof(Qor16u), srcStep);           // here before the next image's minimum; nothing for single bytes
//   c.step(sizeof(Qor8u), maskStep);
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

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/guarded.h"

namespace qortest {

// Everything that can do without the types of the arguments, so that it is compiled once. It works on one set of
// present arguments, through their addresses; reset() makes them valid.
class ContractEngine {
 public:
  using Action = std::function<void()>;

  struct Step {
    std::string label;
    Action act;
  };

  struct Argument {
    enum Kind { Pointer, Int, Float, Double, Size, Structure };
    Kind kind;
    void* present;
    std::string name;
    bool hasLine = false, isSet = false, isMemory = false;
  };

  ContractEngine(const ContractEngine&) = delete;
  ContractEngine& operator=(const ContractEngine&) = delete;

  // Any other check: when the present arguments fail it, and ways to make them.
  template <class... Violate>
  void check(const std::string& what, QorStatus status, std::function<bool()> fails, Violate... violate) {
    addCheck(what, status, std::move(fails), {Step{what, violate}...});
  }

  void errorsOnly() { acceptedToo_ = false; }
  void succeedsWith(QorStatus status) { success_ = status; }

 protected:
  struct Hooks {
    std::function<QorStatus()> call;
    Action setBase, setReachable;  // the present arguments, with pointers to nowhere and to memory
  };

  ContractEngine(const char* name, Hooks hooks) : name_(name), hooks_(std::move(hooks)) {}

  Argument& line(size_t position);
  void setNames(std::string names);
  void addCheck(const std::string& label, QorStatus status, std::function<bool()> fails, std::vector<Step> violations);
  void addNull(size_t position, QorStatus status);
  void addOptional(const std::vector<size_t>& positions);
  void addRange(size_t position, int* value, QorStatus status, int lowest, int highest);
  template <class F>
  void addFloor(size_t position, F* value, QorStatus status, F least);
  void addOneOf(size_t position, QorStatus status, const std::vector<int>& legal);
  void addAccepted(size_t position, const void* value, size_t bytes);
  void addStep(size_t position, QorStatus status, std::function<ptrdiff_t()> minimum);
  void addPixelStep(size_t position, QorStatus status, ptrdiff_t pixelBytes);
  void addEven(size_t position, QorStatus status, int sampleBytes);
  void addStressSizes(size_t position, bool tall = true);
  void* zeros();
  void drive();

  std::vector<Argument> arguments_ = {};

 private:
  struct Check {
    std::string label;
    QorStatus status;
    std::function<bool()> fails;
    std::vector<Step> violations;
  };

  int* number(size_t position) { return static_cast<int*>(arguments_[position].present); }
  void accept(const std::string& label, Action act) { accepted_.push_back({label, std::move(act)}); }
  int firstFailing() const;
  std::string describe() const;
  void setSteps();
  void expectStatus(QorStatus want, const std::string& what);
  void driveRefused(const std::vector<const Step*>& steps);
  void driveAllRefused();
  void driveAccepted();

  std::string name_;
  Hooks hooks_;
  std::vector<Check> checks_ = {};
  std::vector<Step> accepted_ = {}, stresses_ = {};
  std::vector<Action> stepSetters_ = {};
  std::vector<bool> decidedAlone_ = {};
  std::vector<std::unique_ptr<GuardedBytes>> blocks_ = {};
  bool acceptedToo_ = true;
  QorStatus success_ = qorStsNoErr;
  int failures_ = 0;
};

// Position of an argument, as a type.
template <size_t I>
struct At {};

template <class... A>
class Contract : public ContractEngine {
 public:
  template <size_t I>
  using Arg = std::tuple_element_t<I, std::tuple<A...>>;

  Contract(const char* name, QorStatus (*operation)(A...))
      : ContractEngine(name, {[this, operation] { return std::apply(operation, args_); }, [this] { args_ = base_; },
                              [this] { args_ = reachable_; }}) {
    prepare(std::index_sequence_for<A...>());
  }

  // For QORTEST_ARGUMENTS: keeps the names, gives the positions.
  auto positions(const char* names) {
    setNames(names);
    return positions(std::index_sequence_for<A...>());
  }

  // The present value of an argument, for the functions given to check() and step().
  template <size_t I>
  Arg<I>& operator[](At<I>) {
    return std::get<I>(args_);
  }

  template <size_t... I>
  void null(QorStatus status, At<I>...) {
    (addNull(I, status), ...);
  }

  template <size_t... I>
  void null(At<I>...) {
    (addNull(I, qorStsNullPtrErr), ...);
  }

  template <size_t... I>
  void optional(At<I>...) {
    addOptional({I...});
  }

  template <size_t I>
  void size(QorStatus status, At<I> at) {
    range(at, status, 1, INT_MAX, &QoriSize::width);
    range(at, status, 1, INT_MAX, &QoriSize::height);
    addStressSizes(I);
  }

  template <size_t I>
  void size(At<I> at) {
    size(qorStsSizeErr, at);
  }

  // The minimum is a number of bytes a pixel of the operation's first QoriSize, or a function that gives the bytes.
  template <class M, size_t... I>
  void step(QorStatus status, M minimum, At<I>...) {
    if constexpr (std::is_invocable_v<M>)
      (addStep(I, status, minimum), ...);
    else
      (addPixelStep(I, status, static_cast<ptrdiff_t>(minimum)), ...);
  }

  template <class M, size_t... I>
  void step(M minimum, At<I>... at) {
    step(qorStsStepErr, minimum, at...);
  }

  template <size_t... I>
  void even(QorStatus status, size_t sampleBytes, At<I>...) {
    if (sampleBytes > 1) (addEven(I, status, static_cast<int>(sampleBytes)), ...);
  }

  template <size_t... I>
  void even(size_t sampleBytes, At<I>... at) {
    even(qorStsNotEvenStepErr, sampleBytes, at...);
  }

  // Whole numbers lowest .. highest; a limit of INT_MIN or INT_MAX is none. The limits are accepted.
  template <size_t I, class... Field>
  void range(At<I> at, QorStatus status, int lowest, int highest, Field... field) {
    if constexpr (sizeof...(Field) == 0) setBase(at, lowest != INT_MIN ? lowest : highest);
    addRange(I, &fieldOf((*this)[at], field...), status, lowest, highest);
  }

  // Numbers, whole or not, from a lowest on, which is accepted.
  template <size_t I, class V, class... Field>
  void atLeast(At<I> at, QorStatus status, V lowest, Field... field) {
    auto* value = &fieldOf((*this)[at], field...);
    if constexpr (std::is_same_v<decltype(value), int*>) {
      range(at, status, lowest, INT_MAX, field...);
    } else {
      using F = std::remove_pointer_t<decltype(value)>;
      if constexpr (sizeof...(Field) == 0) setBase(at, static_cast<F>(lowest));
      addFloor(I, value, status, static_cast<F>(lowest));
    }
  }

  // An enumerated argument: the values beside the legal ones, zero and the extremes are refused.
  template <size_t I, class... V>
  void oneOf(At<I> at, QorStatus status, V... legal) {
    addOneOf(I, status, {static_cast<int>(legal)...});
    any(at, static_cast<int>(legal)...);
  }

  // Every value is accepted; these are tried.
  template <size_t I, class... V>
  void any(At<I> at, V... values) {
    const Arg<I> tried[] = {static_cast<Arg<I>>(values)...};
    setBase(at, tried[0]);
    for (const Arg<I>& value : tried) addAccepted(I, &value, sizeof value);
  }

  template <size_t I>
  void set(At<I> at, std::type_identity_t<Arg<I>> value) {
    std::get<I>(base_) = value;
    arguments_[I].isSet = true;
    if constexpr (std::is_pointer_v<Arg<I>>) memory(at, value);
    line(I);
  }

  // What the accepted calls get; whether null is refused is said elsewhere.
  template <size_t I>
  void memory(At<I>, std::type_identity_t<Arg<I>> pointer) {
    std::get<I>(reachable_) = pointer;
    arguments_[I].isMemory = true;
  }

  void run() {
    fillReachable(std::index_sequence_for<A...>());
    drive();
  }

 private:
  static auto& fieldOf(auto& value) { return value; }
  static auto& fieldOf(auto& value, auto field) { return value.*field; }

  template <size_t... I>
  static std::tuple<At<I>...> positions(std::index_sequence<I...>) {
    return {};
  }

  template <size_t I>
  void setBase(At<I>, Arg<I> value) {
    if (!arguments_[I].isSet) std::get<I>(base_) = value;
  }

  template <class V>
  static constexpr Argument::Kind kindOf() {
    if (std::is_pointer_v<V>) return Argument::Pointer;
    if (std::is_same_v<V, int>) return Argument::Int;
    if (std::is_same_v<V, Qor32f>) return Argument::Float;
    if (std::is_same_v<V, Qor64f>) return Argument::Double;
    return std::is_same_v<V, QoriSize> ? Argument::Size : Argument::Structure;
  }

  template <size_t... I>
  void prepare(std::index_sequence<I...>) {
    const auto one = [this]<class V>(V& base, V& present, size_t i) {
      arguments_.push_back({kindOf<V>(), &present, "argument " + std::to_string(i)});
      if constexpr (std::is_pointer_v<V>) base = noAccess<std::remove_pointer_t<V>>(static_cast<int>(i));
      if constexpr (std::is_same_v<V, QoriSize>) base = {17, 5};
    };
    (one(std::get<I>(base_), std::get<I>(args_), I), ...);
  }

  template <size_t... I>
  void fillReachable(std::index_sequence<I...>) {
    const auto one = [this]<class V>(V& value, const V& base, size_t i) {
      if (arguments_[i].isMemory) return;
      value = base;
      if constexpr (std::is_pointer_v<V>) value = static_cast<V>(zeros());
    };
    (one(std::get<I>(reachable_), std::get<I>(base_), I), ...);
  }

  std::tuple<A...> args_ = {}, base_ = {}, reachable_ = {};
};

}  // namespace qortest

// Names the positions of a contract's arguments, all of them.
#define QORTEST_ARGUMENTS(contract, ...) [[maybe_unused]] const auto [__VA_ARGS__] = contract.positions(#__VA_ARGS__)
