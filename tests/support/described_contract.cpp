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

Case usualCase() {
  Case c({17, 5});
  c.usual = true;
  return c;
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
    : ContractEngine(d.operation.name,
                     {[this] { return call(); }, [this] { reset(base_); }, [this] { reset(reachable_); }}),
      now(d),
      description_(d),
      case_(usualCase()),
      valid_(d, case_),
      base_(valid_.slots),
      reachable_(valid_.slots),
      records_(base_.size()),
      good_(base_.size()) {
  for (size_t i = 0; i < base_.size(); ++i) {
    const Parameter& p = d.operation.parameters[i];
    arguments_.push_back({kindOf(p), now.slots[i].bytes, d.nameOf(i)});
    if (!isPointer(p)) continue;
    const char role = d.role(i);
    base_[i].as<void*>() = noAccess<char>(static_cast<int>(i));
    if (isIn(role, d.traits.read)) {
      const Call::Block& block = valid_.blocks_[i];
      records_[i] = good_[i] = {block.bytes->data(), block.bytes->data() + block.size};
      base_[i].as<void*>() = records_[i].data();
    }
    if (p.kind == Parameter::Pointer && isIn(role, "smidwrq")) reachable_[i].as<void*>() = zeros();
  }
  succeedsWith(d.traits.onZeros);
  now.data = valid_.data;
  reset(base_);
  std::istringstream checks(d.traits.checks);
  for (std::string check; std::getline(checks, check, '|');) parse(check);
  sayOfTheRest();
}

void DescribedContract::run() { drive(); }

QorStatus DescribedContract::call() {
  const QorStatus status = description_.operation.call(now.slots.data());
  if (status >= qorStsNoErr && description_.traits.release) description_.traits.release(now);
  return status;
}

void DescribedContract::reset(const std::vector<Slot>& slots) {
  now.slots = slots;
  for (size_t i = 0; i < good_.size(); ++i) std::copy(good_[i].begin(), good_[i].end(), records_[i].begin());
}

void DescribedContract::start(char role, double value) {
  now.set(role, value);
  const auto i = static_cast<size_t>(now.position(role));
  base_[i] = reachable_[i] = now.slots[i];
}

size_t DescribedContract::argument(char role) {
  const auto i = static_cast<size_t>(now.position(role));
  line(i);
  return i;
}

void DescribedContract::refuse(const std::string& what, std::function<int*()> target, QorStatus status, Fails fails,
                               const std::vector<int>& values) {
  std::vector<Step> violations;
  for (const int value : values) {
    const auto violate = [=] {
      if (target() != nullptr) *target() = value;
    };
    violations.push_back({what + " = " + std::to_string(value), violate});
  }
  addCheck(
      what, status, [=] { return target() != nullptr && fails(*target()); }, std::move(violations));
}

void DescribedContract::refuse(char role, QorStatus status, Fails fails, const std::vector<int>& values) {
  const size_t i = argument(role);
  int* const number = &now.slots[i].as<int>();
  refuse(
      std::string(1, role), [=] { return number; }, status, std::move(fails), values);
  sayAnyOf(i);
}

void DescribedContract::refuseWord(char role, int index, QorStatus status, Fails fails,
                                   const std::vector<int>& values) {
  const size_t i = argument(role);
  const auto word = [=, this]() -> int* {
    int* const record = now.slots[i].as<int*>();
    return record != reinterpret_cast<int*>(records_[i].data()) ? nullptr : record + index;
  };
  refuse("word " + std::to_string(index) + " of " + role, word, status, std::move(fails), values);
}

// Flags that are allowed, then the rules.
void DescribedContract::checkBorder(const Words& w) {
  const int flags = w.numbers[0];
  const std::vector<int> rules(w.numbers.begin() + 1, w.numbers.end());
  const auto fails = [=](int b) { return std::count(rules.begin(), rules.end(), b & ~flags) == 0; };
  std::vector<int> tried = {5, 7, 15, 256, 257, 0x10001, -1, -10, INT_MIN};
  for (int b = 0; b < 7; ++b) tried.push_back(b), tried.push_back(b | 240);
  for (const int flag : {16, 32, 64, 128}) tried.push_back(rules[0] | flag);
  const size_t i = argument(w.roles[0]);
  for (const int b : tried)
    if (!fails(b)) accept(i, b);
  tried.erase(std::remove_if(tried.begin(), tried.end(), [&](int b) { return !fails(b); }), tried.end());
  refuse(w.roles[0], w.status, fails, tried);
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
    for (const size_t i : positions(w.roles, [&](size_t k, char) { return !d.mayBeNull(k); }))
      if (isPointer(parameter(i))) addNull(i, w.status);
  } else if (verbIs("size")) {
    const Words w(text, qorStsSizeErr);
    for (const size_t i : positions(w.roles, [](size_t, char role) { return role == 'z'; })) {
      int* const numbers = &now.slots[i].as<int>();
      for (int k = 0; k < (parameter(i).kind == Parameter::Size ? 2 : 1); ++k)
        addRange(i, numbers + k, w.status, 1, INT_MAX);
      // A list of rows has no more of them than the base region.
      if (parameter(i).kind == Parameter::Size) addStressSizes(i, !isIn('l', d.roles));
    }
  } else if (verbIs("step")) {
    const Words w(text, qorStsStepErr);
    for (const size_t i : positions(w.roles, withStep)) {
      addStep(i + 1, w.status, [=, this]() -> ptrdiff_t {
        const Shape s = now.shape(i);
        if (description_.isBits(i)) return (s.width + 7) >> 3;
        if (w.pixelBytes != 0) return s.width * w.pixelBytes;
        const int64_t samples = s.leastStep != 0 ? s.leastStep : s.width * s.channels;
        return samples * static_cast<ptrdiff_t>(description_.operation.parameters[i].bytes);
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
    for (const size_t i : positions(w.roles, [](size_t, char) { return false; }))
      allow(i, w.status, {values.begin(), values.end()});
  } else if (verbIs("not")) {
    const Words w(text, qorStsBadArgErr);
    refuse(
        w.roles[0], w.status, [refused = w.numbers[0]](int value) { return value == refused; }, w.numbers);
  } else if (verbIs("positive")) {
    const Words w(text, qorStsSizeErr);
    for (const size_t i : positions(w.roles, [](size_t, char) { return false; })) {
      int* const number = &now.slots[i].as<int>();
      line(i);
      refuse(
          d.nameOf(i), [=] { return number; }, w.status, [](int value) { return value < 1; }, {0, -1, INT_MIN});
    }
  } else if (verbIs("odd")) {
    const Words w(text, qorStsSizeErr);
    const int least = w.numbers[0];
    refuse(w.roles[0], w.status, [=](int value) { return value < least || value % 2 == 0; },
           {least - 2, least + 1, 0, -3, INT_MIN});
  } else if (verbIs("border")) {
    checkBorder(Words(text, qorStsBadArgErr));
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
    // Every pixel is outside an empty region, of which the size is refused: there the first one passes.
    const auto outside = [=, this] {
      const QoriSize size = now.size();
      return p->x < 0 || p->y < 0 || p->x >= std::max(size.width, 1) || p->y >= std::max(size.height, 1);
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
    const Words w(text, qorStsNoErr);
    d.traits.own(*this, w.numbers.empty() ? 0 : w.numbers[0]);
  } else {
    ADD_FAILURE() << d.operation.name << ": no check \"" << text << '"';
  }
}

void DescribedContract::allow(size_t i, QorStatus status, const std::vector<int>& legal) {
  line(i);
  addOneOf(i, status, legal);
  for (const int value : legal) accept(i, value);
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
    sayAnyOf(i);
  }
  if (!optional.empty()) addOptional(optional);
}

void DescribedContract::sayAnyOf(size_t i) {
  const auto* values = description_.valuesOf(description_.role(i));
  if (values == nullptr) return;
  for (const double value : *values) {
    now.set(description_.role(i), value, description_.which(i));
    addAccepted(i, now.slots[i].bytes, description_.operation.parameters[i].bytes);
  }
}

void runContract(const Description& d) { DescribedContract(d).run(); }

}  // namespace qortest
