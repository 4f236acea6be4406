#include "support/contract.h"

#include <math.h>
#include <string.h>

#include <algorithm>
#include <limits>
#include <sstream>

namespace qortest {
namespace {

std::string equals(int value) { return " = " + std::to_string(value); }

}  // namespace

ContractEngine::Argument& ContractEngine::line(size_t position) {
  arguments_[position].hasLine = true;
  return arguments_[position];
}

void ContractEngine::addCheck(const std::string& label, QorStatus status, std::function<bool()> fails,
                              std::vector<Step> violations) {
  checks_.push_back({label, status, std::move(fails), std::move(violations)});
}

// Pointers of any type are read and set by their bytes.
void ContractEngine::addNull(size_t position, QorStatus status) {
  const Argument& argument = line(position);
  void* const pointer = argument.present;
  const auto isNull = [=] {
    const void* value;
    memcpy(&value, pointer, sizeof value);
    return value == nullptr;
  };
  check(argument.name + " null", status, isNull, [=] { memset(pointer, 0, sizeof(void*)); });
}

void ContractEngine::addOptional(const std::vector<size_t>& positions) {
  std::vector<void*> pointers;
  for (const size_t i : positions) {
    void* const pointer = line(i).present;
    pointers.push_back(pointer);
    accept(arguments_[i].name + " null", [=] { memset(pointer, 0, sizeof(void*)); });
  }
  accept("all optional null", [=] {
    for (void* p : pointers) memset(p, 0, sizeof(void*));
  });
}

void ContractEngine::addRange(size_t position, int* value, QorStatus status, int lowest, int highest) {
  // The fields of a structure go by their place, as it has no names at run time.
  Argument& argument = line(position);
  const ptrdiff_t field = value - static_cast<int*>(argument.present);
  const std::string name = argument.kind == Argument::Int    ? argument.name
                           : argument.kind == Argument::Size ? argument.name + (field == 0 ? " width" : " height")
                                                             : argument.name + " field " + std::to_string(field);
  std::vector<Step> violations;
  const auto violate = [&](int v) { violations.push_back({name + equals(v), [=] { *value = v; }}); };
  if (lowest != INT_MIN) {
    violate(lowest - 1);
    if (lowest - 1 != INT_MIN) violate(INT_MIN);
    accept(name + equals(lowest), [=] { *value = lowest; });
  }
  if (highest != INT_MAX) {
    violate(highest + 1);
    if (highest + 1 != INT_MAX) violate(INT_MAX);
    accept(name + equals(highest), [=] { *value = highest; });
  }
  addCheck(
      name + " outside " + std::to_string(lowest) + ".." + std::to_string(highest), status,
      [=] { return *value < lowest || *value > highest; }, std::move(violations));
}

template <class F>
void ContractEngine::addFloor(size_t position, F* value, QorStatus status, F least) {
  constexpr F infinity = std::numeric_limits<F>::infinity();
  const std::string& name = line(position).name;
  check(
      name + " below the least", status, [=] { return *value < least; },
      [=] { *value = std::nextafter(least, -infinity); }, [=] { *value = -infinity; });
  accept(name + " the least", [=] { *value = least; });
}
template void ContractEngine::addFloor(size_t, Qor32f*, QorStatus, Qor32f);
template void ContractEngine::addFloor(size_t, Qor64f*, QorStatus, Qor64f);

void ContractEngine::addOneOf(size_t position, QorStatus status, const std::vector<int>& legal) {
  int* const value = number(position);
  const auto isLegal = [legal](int v) { return std::find(legal.begin(), legal.end(), v) != legal.end(); };
  // Beside the legal values, and equal to them in the low bits.
  std::vector<int> tried = {0, -1, 256, INT_MIN, INT_MAX};
  for (const int v : legal) tried.insert(tried.end(), {v - 1, v + 1, v + 256, v + 0x10000});
  std::vector<Step> violations;
  for (const int v : tried)
    if (!isLegal(v)) violations.push_back({arguments_[position].name + equals(v), [=] { *value = v; }});
  addCheck(
      line(position).name + " not legal", status, [=] { return !isLegal(*value); }, std::move(violations));
}

void ContractEngine::addAccepted(size_t position, const void* value, size_t bytes) {
  void* const present = line(position).present;
  const std::vector<char> copy(static_cast<const char*>(value), static_cast<const char*>(value) + bytes);
  accept(arguments_[position].name + " another value", [=] { memcpy(present, copy.data(), copy.size()); });
}

void ContractEngine::addStep(size_t position, QorStatus status, std::function<ptrdiff_t()> minimum) {
  int* const value = number(position);
  const std::string& name = line(position).name;
  const auto setTo = [=](ptrdiff_t bytes) {
    *value = static_cast<int>(std::clamp(bytes, ptrdiff_t{INT_MIN}, ptrdiff_t{INT_MAX}));
  };
  std::vector<Step> violations;
  for (const int less : {1, 2, 4, 8})
    violations.push_back({name + " " + std::to_string(less) + " below the least", [=] { setTo(minimum() - less); }});
  violations.push_back({name + " = 0", [=] { setTo(0); }});
  violations.push_back({name + " negated", [=] { setTo(-minimum()); }});
  violations.push_back({name + " = INT_MIN", [=] { setTo(INT_MIN); }});
  addCheck(
      name + " below the least", status, [=] { return *value < minimum(); }, std::move(violations));
  accept(name + " the least", [=] { setTo(minimum()); });
  // Room above the minimum, so that a violated multiple does not violate the minimum.
  constexpr ptrdiff_t room = 64;
  stepSetters_.push_back([=] { setTo((minimum() + 2 * room - 1) / room * room); });
}

void ContractEngine::addEven(size_t position, QorStatus status, int sampleBytes) {
  int* const value = number(position);
  const Argument& argument = arguments_[position];
  std::vector<Step> violations;
  for (int more = 1; more < sampleBytes; more *= 2)
    violations.push_back({argument.name + " | " + std::to_string(more), [=] { *value |= more; }});
  addCheck(
      argument.name + " no multiple of " + std::to_string(sampleBytes), status,
      [=] { return (*value & (sampleBytes - 1)) != 0; }, std::move(violations));
  line(position);
}

// Widths whose product with 2, 3, 4, 6, 8 or 12 wraps around to something small or negative, and large areas; with the
// steps of the small image, and with steps that fit where a step can.
void ContractEngine::addStressSizes(size_t position, bool tall) {
  QoriSize* const present = static_cast<QoriSize*>(arguments_[position].present);
  for (const int width : {INT_MAX, 0x40000001, 0x55555556, 0x20000001, 0x2aaaaaab, 0x15555556, 0x10001, 17}) {
    if (width <= 0x10001 && !tall) continue;
    const QoriSize size = {width, width > 0x10001 ? 3 : width == 17 ? INT_MAX : 0x10001};
    const std::string what = arguments_[position].name + " " + std::to_string(width) + " wide";
    stresses_.push_back({what, [=] { *present = size; }});
    stresses_.push_back({what + ", steps to match", [=, this] {
                           *present = size;
                           setSteps();
                         }});
  }
}

// Zeros on both sides of the address, for operations that read around their region.
void* ContractEngine::zeros() {
  constexpr ptrdiff_t half = 1 << 17;
  blocks_.push_back(std::make_unique<GuardedBytes>(2 * half));
  memset(blocks_.back()->data(), 0, 2 * half);
  return blocks_.back()->data() + half;
}

void ContractEngine::setSteps() {
  for (const Action& set : stepSetters_) set();
}

int ContractEngine::firstFailing() const {
  for (size_t i = 0; i < checks_.size(); ++i)
    if (checks_[i].fails()) return static_cast<int>(i);
  return -1;
}

std::string ContractEngine::describe() const {
  std::ostringstream text;
  for (const Argument& a : arguments_) {
    text << (&a == &arguments_[0] ? "" : ", ");
    const void* pointer = nullptr;
    switch (a.kind) {
      case Argument::Pointer:
        memcpy(&pointer, a.present, sizeof pointer);
        text << (pointer == nullptr ? "null" : "pointer");
        break;
      case Argument::Int:
        text << *static_cast<const int*>(a.present);
        break;
      case Argument::Float:
        text << *static_cast<const Qor32f*>(a.present);
        break;
      case Argument::Double:
        text << *static_cast<const Qor64f*>(a.present);
        break;
      case Argument::Size: {
        const QoriSize size = *static_cast<const QoriSize*>(a.present);
        text << size.width << 'x' << size.height;
        break;
      }
      case Argument::Structure:
        text << "structure";
        break;
    }
  }
  return text.str();
}

void ContractEngine::expectStatus(QorStatus want, const std::string& what) {
  // A wrong check shows in hundreds of pairs; the first few tell which it is.
  constexpr int enough = 6;
  if (failures_ >= enough) return;
  const std::string arguments = describe();
  setCase("%s(%s): %s, expecting status %d", name_.c_str(), arguments.c_str(), what.c_str(), want);
  const QorStatus got = hooks_.call();
  if (got == want) return;
  ++failures_;
  ADD_FAILURE() << name_ << ": status " << got << " instead of " << want << " for " << what
                << "\n  arguments: " << arguments << (failures_ == enough ? "\n  further ones are not reported" : "");
}

// Steps in their order on valid arguments; the first check in the list that then fails gives the status.
void ContractEngine::driveRefused(const std::vector<const Step*>& steps) {
  hooks_.setBase();
  setSteps();
  std::string what;
  for (const Step* s : steps) {
    s->act();
    what += (what.empty() ? "" : ", ") + s->label;
  }
  const int first = firstFailing();
  if (first < 0) return;  // one undid the other, or a large size that is legal: the memory for it does not exist
  const Check& decides = checks_[static_cast<size_t>(first)];
  const auto failing = std::count_if(checks_.begin(), checks_.end(), [](const Check& c) { return c.fails(); });
  if (failing == 1) decidedAlone_[static_cast<size_t>(first)] = true;
  expectStatus(decides.status, what + " (first: " + decides.label + ")");
}

void ContractEngine::driveAllRefused() {
  for (size_t i = 0; i < checks_.size(); ++i) {
    for (const Step& a : checks_[i].violations) {
      driveRefused({&a});
      for (const Step& large : stresses_) driveRefused({&large, &a});
      for (size_t j = i + 1; j < checks_.size(); ++j) {
        for (const Step& b : checks_[j].violations) {
          driveRefused({&a, &b});
          driveRefused({&b, &a});
        }
      }
    }
  }
  for (const Step& large : stresses_) driveRefused({&large});
}

void ContractEngine::driveAccepted() {
  const Step nothing = {"the base arguments", [] {}};
  std::vector<const Step*> edges = {&nothing};
  for (const Step& edge : accepted_) edges.push_back(&edge);
  for (const Step* edge : edges) {
    hooks_.setReachable();
    setSteps();
    edge->act();
    const int first = firstFailing();
    if (first < 0)
      expectStatus(success_, "accepted: " + edge->label);
    else
      ADD_FAILURE() << name_ << ": " << edge->label << " fails the check " << checks_[static_cast<size_t>(first)].label;
  }
}

void ContractEngine::drive() {
  decidedAlone_.assign(checks_.size(), false);
  hooks_.setBase();
  setSteps();
  if (firstFailing() >= 0) {
    ADD_FAILURE() << name_ << ": the base arguments fail a check: " << describe();
    return;
  }
  driveAllRefused();
  for (size_t i = 0; i < checks_.size(); ++i)
    EXPECT_TRUE(decidedAlone_[i]) << name_ << ": no violation reaches the check " << checks_[i].label << " alone";
  driveAccepted();
}

}  // namespace qortest
