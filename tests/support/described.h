// Descriptions: what is the same for every operation is driven from one line each, which tells the role of its
// arguments. A family's test file says (beside its reference and the cases that only it has):
//
//   void absDiff(Call& c) { c.expect('d', reference(c.before<T>('s'), c.before<T>('s', 2))); }
//   const Descriptions members([](Descriptions& d) {
//     d.add(QORTEST_NAMED(qoriAbsDiff_8u_C1R), "S.S.d.z", {.expect = absDiff<Qor8u>, .team = from(0x40000)});
//   });
//
// and gets, each as a test of its own that --gtest_filter finds by the operation's name:
//   Contract  every check refuses alone and in its order, accepted edges are accepted (contract.h)
//   Sweep     sizes, data, alignments and threads rotate (sweep.h); everything stands against guard pages, scratch and
//             records with exactly the reported bytes; the result is as `expect` says, at the plain level the same
//             bit by bit as at the wide one, and without `expect` the same with one thread
//   Team      one parallel region from `team` on, none below, with one core and with several
//   Memory    every allocation failed once: the status is qorStsMemAllocErr or a success, nothing leaks
// and its part of the fuzzer (tests/fuzz).
//
// Roles, one letter a parameter. Images: s source, m mask (one channel), i read and written, d destination, D one
// that may be null, S source that may also be the destination, l list of the addresses of rows; a step (.) and a bit
// offset (o, 1u) behind them. z region or length, c channel of interest, b border, v border value (one or a pointer to
// one a channel), p seed point in the region, w scratch, r result, R result that may be null, q record to be made (not
// compared, as it may hold addresses), a address of the pointer to one that is allocated (untouched when memory is
// short). Results and records have as many elements as their shape says, 1 if nothing. Every other letter is the
// family's: a number among `values`, or what `draw` sets. Channels are those of the name: C3, C3C1, C1M.
//
// Checks, in their order: "null | size | step | even | step m | coi" unless said otherwise. Each may name roles, s2
// being the second s (default: all that the check may concern, masks have their own step), and a status:
//   null [roles]   size [role]   step [roles[:bytes a pixel]]   even [roles]   coi   inside p   rows l
//   one b BorderErr       only the `values` are accepted        not n BadArgErr 0     all but 0
//   least k SizeErr 1     from 1 on, which is tried             range a AnchorErr 0 4
//   positive .2 StepErr   from 1 on                             odd k BadArgErr 3     odd from 3 on
//   border b BorderErr 240 0 1 6   rules 0, 1 and 6, with flags among 240
//   own 1                 traits.own(contract, 1), for all that these words do not tell
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/compare.h"
#include "support/contract.h"
#include "support/guarded.h"
#include "support/operation.h"
#include "support/sweep.h"

namespace qortest {

class Arguments;
class Call;
class DescribedContract;
struct Description;

// What an image holds, in 64 bits, since contracts ask for the minimum of the step of any width.
struct Shape {
  int64_t width, height;
  int channels;
  Margin margin = {};     // pixels around it that may be read
  int64_t leastStep = 0;  // in samples, where it is not that of a row
};

// From how many pixels on a call is shared: alone on a machine of one core, sooner perhaps where there are several. 0
// is never. With `each` the numbers count for every thread, with `samples` channels count too.
struct Team {
  int64_t alone = 0, onCores = 0;
  bool each = false, samples = false;

  // The least pixels for a team; 0 for none.
  int64_t least(int threads, int cores, int channels) const;
};
constexpr Team from(int64_t pixels) { return {pixels, pixels}; }
constexpr Team fromSamples(int64_t samples) { return {samples, samples, false, true}; }
// As powers of two; 0 for never.
constexpr Team fromEach(int shift, int shiftOnCores) {
  return {shift != 0 ? int64_t{1} << shift : 0, shiftOnCores != 0 ? int64_t{1} << shiftOnCores : 0, true};
}

struct Traits {
  std::string checks = "null | size | step | even | step m | coi";
  // What numbers take. A check "one" refuses all else, without a check all else is accepted too.
  std::vector<std::pair<char, std::vector<double>>> values = {};
  // Ahead of the images: sets numbers and pointers of the family's own letters.
  std::function<void(Call&)> draw = {};
  // Images, results and lists that are not of the region's size and the name's channels, or have margins.
  std::function<void(const Arguments&, char role, int which, Shape&)> shape = {};
  // Behind the images: data of one's own.
  std::function<void(Call&)> fill = {};
  // Behind that: pointers that are not those of an image's first pixel.
  std::function<void(Call&)> arrange = {};
  // Bytes of scratch; mostly reported(query) below.
  std::function<int(const Arguments&)> scratch = {};
  // Compares what came with what should.
  std::function<void(Call&)> expect = {};
  // Behind the call: gives back what it allocated.
  std::function<void(Arguments&)> release = {};
  // Checks that the words above do not tell.
  std::function<void(DescribedContract&, int)> own = {};
  std::string read = "";  // roles of pointers that the checks read through
  Team team = {};
  // Another rule than `team` tells: the threads of the region, 0 when there is none; and sizes on both sides of it.
  std::function<int(const Arguments&, int threads, int cores)> teamOf = {};
  std::vector<QoriSize> teamSizes = {};
  bool threadsShow = false;  // results may depend on the number of threads
  QorStatus onZeros = qorStsNoErr;
  Sweep sweep = {};  // thresholds follow from the team when none are given
};

struct Description {
  Operation operation;
  std::string roles;
  Traits traits;
  int channels = 1, resultChannels = 1;  // of sources and of destinations

  Description(Operation op, const char* roles, Traits traits);

  char role(size_t position) const;
  int which(size_t position) const;
  bool isImage(size_t position) const;
  bool hasStep(size_t position) const;
  bool isBits(size_t position) const;
  bool mayBeNull(size_t position) const { return roles[position] == 'R' || roles[position] == 'D'; }
  std::string nameOf(size_t position) const;
  const std::vector<double>* valuesOf(char role) const;
};

// Arguments by their roles; `which` counts those of one role from 1.
class Arguments {
 public:
  explicit Arguments(const Description& d) : description(d), slots(d.operation.parameters.size()) {}

  int position(char role, int which = 1) const;  // -1 when there is none
  bool has(char role, int which = 1) const { return position(role, which) >= 0; }

  template <class T>
  T& at(char role, int which = 1) {
    return slots[existing(role, which)].as<T>();
  }
  template <class T>
  const T& at(char role, int which = 1) const {
    return slots[existing(role, which)].as<T>();
  }
  double real(char role, int which = 1) const;
  int number(char role, int which = 1) const { return static_cast<int>(real(role, which)); }
  void set(char role, double value, int which = 1);
  QoriSize size() const;
  Shape shape(size_t position) const;

  const Description& description;
  std::vector<Slot> slots;
  std::shared_ptr<void> data = {};  // the family's, from draw on

 protected:
  size_t existing(char role, int which) const;
};

// An image of any type, with what it held before the call.
class AnyImage {
 public:
  virtual ~AnyImage() = default;
  virtual void* data() const = 0;
  virtual int step() const = 0;
  virtual void* row(int y) const = 0;
  virtual void keep() = 0;
  virtual void putBack(const AnyImage& other) = 0;  // what that one kept
  virtual void protect() = 0;
  virtual void expectSame(const AnyImage& other, const char* what) const = 0;
  virtual void expectKept() const = 0;
};

template <class T>
class TypedImage : public AnyImage {
 public:
  explicit TypedImage(GuardedImage<T> made) : image(std::move(made)) {}
  void* data() const override { return image.data(); }
  int step() const override { return image.step(); }
  void* row(int y) const override { return &image.at(0, y); }
  void keep() override { before = image.pixels(true); }
  void putBack(const AnyImage& other) override { image.put(static_cast<const TypedImage&>(other).before); }
  void protect() override { image.protect(); }
  void expectSame(const AnyImage& other, const char* what) const override {
    qortest::expectSame(image, static_cast<const TypedImage&>(other).image.pixels(), Equal::SignedZeros, what);
  }

  void expectKept() const override {
    qortest::expectSame(image.pixels(true), before, Equal::Bits, "what a failed call should have left alone");
  }

  GuardedImage<T> image;
  Image<T> before{{0, 0}};
};

// What one case has for its own, behind what the description draws and fills.
struct Own {
  std::function<void(Call&)> draw = {}, fill = {};
};

// One call: its arguments, with everything that they point at.
class Call : public Arguments {
 public:
  enum class Pixels { Drawn, None };  // without pixels images are zeros that are shared, for large ones

  Call(const Description& d, Case& c, Pixels pixels = Pixels::Drawn, const Own& own = {}, const Call* twin = nullptr);
  ~Call();

  // The same once more, anew in memory; for a case as it was ahead of the first.
  Call(const Call& first, Case& sameCase, const Own& own)
      : Call(first.description, sameCase, Pixels::Drawn, own, &first) {}

  // For draw and fill. A block is memory of exactly that size, write-protected in the call where its type is const.
  uint8_t* block(char role, ptrdiff_t bytes, int which = 1);
  template <class T>
  void array(char role, const std::vector<T>& values, int which = 1) {
    putArray(role, values.data(), values.size() * sizeof(T), which);
  }
  template <class T>
  T pick(std::initializer_list<T> values) {
    return values.begin()[c.random.below(static_cast<int>(values.size()))];
  }
  void apart() { inPlace_ = -1; }  // source and destination must not be the same in this case
  bool isInPlace() const { return inPlace_ >= 0; }
  void shareImage();  // the destination is the source, where that is allowed in some cases only

  template <class T>
  GuardedImage<T>& image(char role, int which = 1) {
    return static_cast<TypedImage<T>&>(*images_[existing(role, which)]).image;
  }

  void run(Operation::Function function);

  // The border value, or the first of those of the channels.
  template <class T>
  const T* borderValue() const {
    const size_t i = existing('v', 1);
    return description.operation.parameters[i].kind == Parameter::Pointer ? slots[i].as<const T*>() : &slots[i].as<T>();
  }
  // The rows of a list.
  template <class T>
  const T* const* rows() const {
    return reinterpret_cast<const T* const*>(lists_[existing('l', 1)].data());
  }

  // For expect. Pixels before the call, with their margins; those of 1u images as 0 and 1.
  template <class T>
  const Image<T>& before(char role, int which = 1) const {
    return static_cast<const TypedImage<T>&>(*images_[existing(role, which)]).before;
  }
  Image<Qor8u> bitsBefore(char role, int which = 1) const;
  template <class T>
  Image<T> after(char role, int which = 1) const;
  Image<Qor8u> bitsAfter(char role, int which = 1) const;
  template <class T>
  void expect(char role, const Image<T>& wanted, Equal equal = Equal::SignedZeros, int which = 1) const {
    expectSame(after<T>(role, which), wanted, equal, description.operation.name);
  }
  // A result, unless it was asked for by a null pointer.
  template <class T>
  void expectResult(int which, T wanted, Equal equal = Equal::SignedZeros) const {
    const T* got = at<T*>('r', which);
    if (got == nullptr) return;
    EXPECT_TRUE(same(*got, wanted, equal)) << description.operation.name << ", result " << which << ": " << +*got
                                           << " instead of " << +wanted << "\n  case: " << currentCase();
  }
  void expectUntouched() const;
  // The other run's results are these, bit by bit but for the bits of a NaN.
  void expectSameResults(const Call& other, const char* what) const;

  Case& c;
  const Call* const twin = nullptr;  // whose pixels these are
  QorStatus status = qorStsNoErr, wanted = qorStsNoErr;

 private:
  struct Block {
    std::unique_ptr<GuardedBytes> bytes;
    size_t size = 0;
  };

  void putArray(char role, const void* values, size_t bytes, int which);
  void drawNumbers();
  void makeImages(Pixels pixels);
  void makeImage(size_t position, Pixels pixels);
  void makeList(size_t position, const Shape& shape);
  void verifyBits() const;
  bool isOutput(size_t position) const;
  Image<Qor8u> bits(size_t position, const Image<Qor8u>& bytes) const;
  friend class DescribedContract;

  const Pixels pixels_;
  std::vector<std::shared_ptr<AnyImage>> images_;  // by position; in place two of them are one
  std::vector<Block> blocks_;
  std::vector<std::vector<void*>> lists_;
  std::vector<std::vector<int>> listRows_;  // the rows of an image that its list names
  int inPlace_ = -1;                        // position of the source that is also the destination
};

template <class T>
Image<T> Call::after(char role, int which) const {
  const size_t i = existing(role, which);
  Image<T> got = static_cast<const TypedImage<T>&>(*images_[i]).image.pixels();
  if (role != 'l') return got;
  const size_t bytes = static_cast<size_t>(got.size.width * got.channels) * sizeof(T);
  for (int y = 0; y < got.size.height; ++y) memcpy(&got.at(0, y), lists_[i][static_cast<size_t>(y)], bytes);
  return got;
}

// The bytes that a query reports for a call: query(region, numbers of these roles..., &bytes).
template <class... A, class... Role>
auto reported(QorStatus (*query)(QoriSize, A...), Role... roles) {
  return [=](const Arguments& a) {
    int bytes = -1;
    EXPECT_EQ(query(a.size(), a.number(roles)..., &bytes), qorStsNoErr) << currentCase();
    return bytes;
  };
}

// The contract check of a description. For checks of its own it has check(), of any kind, and these.
class DescribedContract : public ContractEngine {
 public:
  using Fails = std::function<bool(int)>;

  explicit DescribedContract(const Description& d);
  void run();

  Arguments now;                        // the present ones
  void start(char role, double value);  // what a number is unless a case changes it
  // A number, or a 32-bit word of a record that the description says is read: refused values, and what refuses them.
  void refuse(char role, QorStatus status, Fails fails, const std::vector<int>& values);
  void refuseWord(char role, int index, QorStatus status, Fails fails, const std::vector<int>& values);

 private:
  struct Words;

  template <class Usual>
  std::vector<size_t> positions(const std::string& roles, Usual usual) const;
  void parse(const std::string& text);
  void allow(size_t position, QorStatus status, const std::vector<int>& legal);
  void checkRows(QorStatus status);
  void refuse(const std::string& what, std::function<int*()> target, QorStatus status, Fails fails,
              const std::vector<int>& values);
  void checkBorder(const Words& words);
  void accept(size_t position, int value) { addAccepted(position, &value, sizeof value); }
  size_t argument(char role);  // its position, and that it has its line
  void reset(const std::vector<Slot>& slots);
  QorStatus call();
  void sayAnyOf(size_t position);
  void sayOfTheRest();

  const Description& description_;
  Case case_;
  Call valid_;
  std::vector<Slot> base_, reachable_;
  std::vector<std::vector<uint8_t>> records_, good_;  // what the checks read, by position, and as it was
  std::vector<void*> nullList_ = {};
};

// Descriptions made at the start of the program.
class Descriptions {
 public:
  explicit Descriptions(void (*add)(Descriptions&)) { add(*this); }

  template <class R, class... A>
  void add(const char* name, R (*function)(A...), const char* roles, Traits traits = {}) {
    all().emplace_back(new Description(operation(name, function), roles, std::move(traits)));
  }
  static std::vector<std::unique_ptr<Description>>& all();
  static const Description& of(const char* name);
};

// The runs of one description.
void runContract(const Description& d);
void runSweep(const Description& d);
void runTeam(const Description& d);
void runMemory(const Description& d);
// Values for a border argument: these rules, every second time with some of the flags.
std::vector<double> borders(std::initializer_list<int> rules, int flags = 0);

// One case with all comparisons that its description allows.
void runCase(const Description& d, Case& c, const Own& own = {});
void runOwn(const char* name, QoriSize size, const Own& own, int threads = 1);

// All of them as tests; called by the tests' main.
void registerDescriptions();

// The same operation in the plain library, where this program runs on the wide one; else null.
Operation::Function atPlainLevel(const Operation& operation);
// This is the run of the tests at the plain level, and there is one at the wide level: its sweeps call both libraries.
bool wideRunCompares();

}  // namespace qortest
