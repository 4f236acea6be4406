#include <string.h>

#include <algorithm>
#include <sstream>

#include "support/described.h"

namespace qortest {
namespace {

constexpr struct {
  const char* name;
  QorStatus status;
} statuses[] = {{"NullPtrErr", qorStsNullPtrErr},
                {"SizeErr", qorStsSizeErr},
                {"StepErr", qorStsStepErr},
                {"NotEvenStepErr", qorStsNotEvenStepErr},
                {"COIErr", qorStsCOIErr},
                {"BadArgErr", qorStsBadArgErr},
                {"RangeErr", qorStsRangeErr},
                {"MemAllocErr", qorStsMemAllocErr},
                {"OutOfRangeErr", qorStsOutOfRangeErr},
                {"DataTypeErr", qorStsDataTypeErr},
                {"ContextMatchErr", qorStsContextMatchErr},
                {"ThresholdErr", qorStsThresholdErr},
                {"MaskSizeErr", qorStsMaskSizeErr},
                {"AnchorErr", qorStsAnchorErr},
                {"NumChannelsErr", qorStsNumChannelsErr},
                {"ChannelErr", qorStsChannelErr},
                {"MetricErr", qorStsMetricErr},
                {"BorderErr", qorStsBorderErr},
                {"NormErr", qorStsNormErr},
                {"FilterTypeErr", qorStsFilterTypeErr},
                {"InPlaceErr", qorStsInPlaceErr},
                {"NotSupportedModeErr", qorStsNotSupportedModeErr}};

ContractEngine::Argument::Kind kindOf(const Parameter& p) {
  using Argument = ContractEngine::Argument;
  if (p.kind == Parameter::Pointer || p.kind == Parameter::List) return Argument::Pointer;
  if (p.kind == Parameter::Size) return Argument::Size;
  if (p.sample == Sample::S32 || p.sample == Sample::U32) return Argument::Int;
  return p.sample == Sample::F32 ? Argument::Float : p.sample == Sample::F64 ? Argument::Double : Argument::Structure;
}

bool isPointer(const Parameter& p) { return p.kind == Parameter::Pointer || p.kind == Parameter::List; }
bool isIn(char c, const std::string& letters) { return letters.find(c) != std::string::npos; }

}  // namespace

// One check in words, taken apart.
struct DescribedContract::Words {
  std::string verb, roles;
  QorStatus status;
  std::vector<int> numbers;
  int pixelBytes = 0;

  Words(const std::string& text, QorStatus usual) : status(usual) {
    std::istringstream words(text);
    words >> verb;
    for (std::string word; words >> word;) {
      const auto named =
          std::find_if(std::begin(statuses), std::end(statuses), [&](auto& s) { return word == s.name; });
      if (named != std::end(statuses)) {
        status = named->status;
      } else if (isdigit(word[0]) != 0 || word[0] == '-') {
        numbers.push_back(atoi(word.c_str()));
      } else {
        const size_t colon = word.find(':');
        roles = word.substr(0, colon);
        if (colon != std::string::npos) pixelBytes = atoi(word.c_str() + colon + 1);
      }
    }
  }
};

DescribedContract::DescribedContract(const Description& d)
    : ContractEngine(d.operation.name, {[this] { return description_.operation.call(now.slots.data()); },
                                        [this] { now.slots = base_; }, [this] { now.slots = reachable_; }}),
      now(d),
      description_(d),
      case_({17, 5}),
      valid_(d, case_),
      base_(valid_.slots),
      reachable_(valid_.slots) {
  for (size_t i = 0; i < base_.size(); ++i) {
    const Parameter& p = d.operation.parameters[i];
    arguments_.push_back({kindOf(p), now.slots[i].bytes, d.nameOf(i)});
    if (!isPointer(p)) continue;
    const char role = d.role(i);
    if (!isIn(role, d.traits.read)) base_[i].as<void*>() = noAccess<char>(static_cast<int>(i));
    if (p.kind == Parameter::Pointer && isIn(role, "smidwr")) reachable_[i].as<void*>() = zeros();
  }
  succeedsWith(d.traits.onZeros);
  std::istringstream checks(d.traits.checks);
  for (std::string check; std::getline(checks, check, '|');) parse(check);
  sayOfTheRest();
}

void DescribedContract::run() { drive(); }

size_t DescribedContract::argument(char role, int which) {
  const auto i = static_cast<size_t>(now.position(role, which));
  line(i);
  return i;
}

// The positions that roles name: all of a letter unless a digit behind it says which; without roles those that are
// usual.
template <class Usual>
std::vector<size_t> DescribedContract::positions(const std::string& roles, Usual usual) const {
  std::vector<size_t> found;
  for (size_t i = 0; i < description_.roles.size(); ++i) {
    const char role = description_.role(i);
    const size_t at = roles.find(role);
    const bool numbered = at != std::string::npos && at + 1 < roles.size() && isdigit(roles[at + 1]) != 0;
    if (roles.empty() ? usual(i, role)
                      : at != std::string::npos && (!numbered || roles[at + 1] - '0' == description_.which(i)))
      found.push_back(i);
  }
  return found;
}

void DescribedContract::parse(const std::string& text) {
  const Description& d = description_;
  const auto parameter = [&](size_t i) -> const Parameter& { return d.operation.parameters[i]; };
  const auto verbIs = [&, verb = Words(text, 0).verb](const char* name) { return verb == name; };
  const auto withStep = [&](size_t i, char role) { return d.hasStep(i) && role != 'm'; };
  if (verbIs("null")) {
    const Words w(text, qorStsNullPtrErr);
    for (const size_t i :
         positions(w.roles, [&](size_t k, char) { return isPointer(parameter(k)) && !d.mayBeNull(k); }))
      addNull(i, w.status);
  } else if (verbIs("size")) {
    const Words w(text, qorStsSizeErr);
    for (const size_t i : positions(w.roles, [](size_t, char role) { return role == 'z'; })) {
      int* const numbers = &now.slots[i].as<int>();
      for (int k = 0; k < (parameter(i).kind == Parameter::Size ? 2 : 1); ++k)
        addRange(i, numbers + k, w.status, 1, INT_MAX);
      // A list of rows has no more of them than the base region.
      if (parameter(i).kind == Parameter::Size && !isIn('l', d.roles)) addStressSizes(i);
    }
  } else if (verbIs("step")) {
    const Words w(text, qorStsStepErr);
    for (const size_t i : positions(w.roles, withStep)) {
      addStep(i + 1, w.status, [=, this]() -> ptrdiff_t {
        const Shape s = now.shape(i);
        if (description_.isBits(i)) return (s.width + 7) >> 3;
        if (w.pixelBytes != 0) return s.width * w.pixelBytes;
        return s.width * s.channels * static_cast<ptrdiff_t>(description_.operation.parameters[i].bytes);
      });
    }
  } else if (verbIs("even")) {
    const Words w(text, qorStsNotEvenStepErr);
    for (const size_t i : positions(w.roles, withStep))
      if (parameter(i).bytes > 1) addEven(i + 1, w.status, static_cast<int>(parameter(i).bytes));
  } else if (verbIs("coi")) {
    if (now.has('c')) allow(argument('c'), Words(text, qorStsCOIErr).status, {1, 2, 3});
  } else if (verbIs("one")) {
    const Words w(text, qorStsBadArgErr);
    const std::vector<double>& values = *d.valuesOf(w.roles[0]);
    allow(argument(w.roles[0]), w.status, {values.begin(), values.end()});
  } else if (verbIs("least") || verbIs("range")) {
    const Words w(text, qorStsSizeErr);
    for (const size_t i : positions(w.roles, [](size_t, char) { return false; })) {
      if (parameter(i).sample == Sample::F32)
        addFloor(i, &now.slots[i].as<Qor32f>(), w.status, static_cast<Qor32f>(w.numbers[0]));
      else if (parameter(i).sample == Sample::F64)
        addFloor(i, &now.slots[i].as<Qor64f>(), w.status, static_cast<Qor64f>(w.numbers[0]));
      else
        addRange(i, &now.slots[i].as<int>(), w.status, w.numbers[0], verbIs("range") ? w.numbers[1] : INT_MAX);
    }
  } else if (verbIs("inside")) {
    const Words w(text, qorStsOutOfRangeErr);
    QoriPoint* const p = &now.slots[argument('p')].as<QoriPoint>();
    const auto outside = [=, this] {
      const QoriSize size = now.size();
      return p->x < 0 || p->y < 0 || p->x >= size.width || p->y >= size.height;
    };
    check(
        "p outside", w.status, outside, [=] { p->x = -1; }, [=] { p->y = -1; }, [=, this] { p->x = now.size().width; },
        [=, this] { p->y = now.size().height; },
        [=] {
          *p = {INT_MIN, INT_MAX};
        });
  } else if (verbIs("rows")) {
    checkRows(Words(text, qorStsNullPtrErr).status);
  } else if (verbIs("own")) {
    d.traits.own(*this, Words(text, 0).numbers[0]);
  } else {
    ADD_FAILURE() << d.operation.name << ": no check \"" << text << '"';
  }
}

void DescribedContract::allow(size_t i, QorStatus status, const std::vector<int>& legal) {
  addOneOf(i, status, legal);
  for (const int value : legal) addAccepted(i, &value, sizeof value);
}

// The list is read, so it is a real one: as drawn, or with a null in its first or last place.
void DescribedContract::checkRows(QorStatus status) {
  const size_t i = argument('l');
  base_[i] = valid_.slots[i];
  void** const good = valid_.slots[i].as<void**>();
  void*** const list = &now.slots[i].as<void**>();
  const auto rows = [=, this] { return now.shape(i).height; };
  const auto withNull = [=, this](bool last) {
    return [=, this] {
      if (*list == nullptr || rows() < 1) return;
      nullList_.assign(good, good + rows());
      nullList_[last ? nullList_.size() - 1 : 0] = nullptr;
      *list = nullList_.data();
    };
  };
  check(
      "a null row", status,
      [=] { return *list != nullptr && rows() > 0 && std::count(*list, *list + rows(), nullptr) != 0; },
      withNull(false), withNull(true));
}

// Numbers that no check concerns are accepted whatever they are, results that may be null are.
void DescribedContract::sayOfTheRest() {
  const Description& d = description_;
  std::vector<size_t> optional;
  for (size_t i = 0; i < arguments_.size(); ++i) {
    if (d.mayBeNull(i)) optional.push_back(i);
    if (arguments_[i].hasLine) continue;
    line(i);
    const auto* values = d.valuesOf(d.role(i));
    if (values == nullptr) continue;
    const Slot kept = now.slots[i];
    for (const double value : *values) {
      now.set(d.role(i), value, d.which(i));
      addAccepted(i, now.slots[i].bytes, d.operation.parameters[i].bytes);
    }
    now.slots[i] = kept;
  }
  if (!optional.empty()) addOptional(optional);
}

void runContract(const Description& d) { DescribedContract(d).run(); }

}  // namespace qortest
