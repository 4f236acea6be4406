// The contract check: which arguments are refused, with which status, and which check comes first.
// described.h says how checks are told. A check is what fails it and ways to violate it. drive() goes through every
// single violation, every pair of violations in both orders, and sizes whose product with a sample size wraps around;
// each call must return the status of the first check in the list that fails. All pointers are then inaccessible, so
// that nothing is read or written. Afterwards it drives accepted calls on readable memory: the least steps, the legal
// values and limits, null in place of optional pointers. A check that never decides a call alone is a failure.
#pragma once

#include <limits.h>
#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/guarded.h"

namespace qortest {

// It works on one set of present arguments, through their addresses.
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
    bool hasLine = false;
  };

  ContractEngine(const ContractEngine&) = delete;
  ContractEngine& operator=(const ContractEngine&) = delete;

  // Any other check: when the present arguments fail it, and ways to make them.
  template <class... Violate>
  void check(const std::string& what, QorStatus status, std::function<bool()> fails, Violate... violate) {
    addCheck(what, status, std::move(fails), {Step{what, violate}...});
  }

  void succeedsWith(QorStatus status) { success_ = status; }

 protected:
  struct Hooks {
    std::function<QorStatus()> call;
    Action setBase, setReachable;  // the present arguments, with pointers to nowhere and to memory
  };

  ContractEngine(const char* name, Hooks hooks) : name_(name), hooks_(std::move(hooks)) {}

  Argument& line(size_t position);
  void addCheck(const std::string& label, QorStatus status, std::function<bool()> fails, std::vector<Step> violations);
  void addNull(size_t position, QorStatus status);
  void addOptional(const std::vector<size_t>& positions);
  void addRange(size_t position, int* value, QorStatus status, int lowest, int highest);
  template <class F>
  void addFloor(size_t position, F* value, QorStatus status, F least);
  void addOneOf(size_t position, QorStatus status, const std::vector<int>& legal);
  void addAccepted(size_t position, const void* value, size_t bytes);
  void addStep(size_t position, QorStatus status, std::function<ptrdiff_t()> minimum);
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
  QorStatus success_ = qorStsNoErr;
  int failures_ = 0;
};

}  // namespace qortest
