#include "support/described.h"

#include <cpuid.h>
#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>

#include "qorcore.h"
#include "support/stand_in.h"

namespace qortest {
namespace {

// The channels that a name tells behind the type: C3R, C3C1R, C1MR; one without.
void channelsOf(const std::string& name, int* sources, int* results) {
  for (size_t i = name.find("_C"); i != std::string::npos; i = name.find("_C", i + 1)) {
    if (isdigit(name[i + 2]) == 0) continue;
    *sources = *results = name[i + 2] - '0';
    if (name.size() > i + 4 && name[i + 3] == 'C' && isdigit(name[i + 4]) != 0) *results = name[i + 4] - '0';
  }
}

bool isOneOf(char c, const char* letters) { return c != 0 && strchr(letters, c) != nullptr; }

QoriSize toSize(const Shape& shape) { return {static_cast<int>(shape.width), static_cast<int>(shape.height)}; }

// Shared by all calls without pixels: zeros, one block for each position.
void* zeroMemory(size_t position, int64_t needed) {
  constexpr size_t places = 16, bytes = size_t{1} << 30;
  static void* blocks[places] = {};
  void*& block = blocks[position];
  if (block == nullptr) block = calloc(bytes, 1);
  EXPECT_LE(needed, static_cast<int64_t>(bytes));
  return block;
}

// For margins.
constexpr int64_t aroundZeros = 1 << 27;

class NoPixels : public AnyImage {
 public:
  NoPixels(size_t position, const Shape& shape, size_t sampleBytes)
      : step_(static_cast<int>(std::max(shape.width * shape.channels, shape.leastStep) * int64_t(sampleBytes))),
        data_(static_cast<char*>(zeroMemory(position, step_ * shape.height + 2 * aroundZeros)) + aroundZeros) {}
  void* data() const override { return data_; }
  int step() const override { return step_; }
  void* row(int y) const override { return static_cast<char*>(data_) + ptrdiff_t{step_} * y; }
  void keep() override {}
  void putBack(const AnyImage&) override {}
  void protect() override {}
  void expectSame(const AnyImage&, const char*) const override {}
  void expectKept() const override {}

 private:
  int step_;
  void* data_;
};

// Bytes that a row of bits takes, from the address of its first pixel on, and those in front of it.
int bytesOfBits(int64_t bits) { return static_cast<int>((bits + 7) >> 3); }

template <class F>
void forEach(const Description& d, F f) {
  for (size_t i = 0; i < d.roles.size(); ++i) f(i, d.role(i));
}

}  // namespace

int64_t Team::least(int threads, int cores, int channels) const {
  int64_t pixels = alone;
  if (cores > 1 && onCores != 0 && (pixels == 0 || onCores < pixels)) pixels = onCores;
  if (each) pixels *= threads;
  return samples ? (pixels + channels - 1) / channels : pixels;
}

// ---- descriptions

Description::Description(Operation op, const char* roleLetters, Traits itsTraits)
    : operation(std::move(op)), roles(roleLetters), traits(std::move(itsTraits)) {
  channelsOf(operation.name, &channels, &resultChannels);
  if (roles.size() == operation.parameters.size()) return;
  fprintf(stderr, "%s has %zu parameters, not \"%s\"\n", operation.name, operation.parameters.size(), roles.c_str());
  abort();
}

char Description::role(size_t i) const {
  const char c = roles[i];
  return isOneOf(c, "SRD") ? static_cast<char>(tolower(c)) : c;
}

int Description::which(size_t position) const {
  int count = 0;
  for (size_t i = 0; i <= position; ++i) count += role(i) == role(position);
  return count;
}

bool Description::isImage(size_t i) const {
  const Parameter::Kind kind = operation.parameters[i].kind;
  return kind == Parameter::Pointer ? isOneOf(role(i), "smid") : kind == Parameter::List && role(i) == 'l';
}

bool Description::hasStep(size_t i) const { return isImage(i) && i + 1 < roles.size() && roles[i + 1] == '.'; }
bool Description::isBits(size_t i) const { return hasStep(i) && i + 2 < roles.size() && roles[i + 2] == 'o'; }

// As messages call it: s, m, s2, step of s2.
std::string Description::nameOf(size_t i) const {
  if (roles[i] == '.') return "step of " + nameOf(i - 1);
  if (roles[i] == 'o') return "bit offset of " + nameOf(i - 2);
  const int number = which(i);
  return std::string(1, role(i)) + (number > 1 ? std::to_string(number) : "");
}

const std::vector<double>* Description::valuesOf(char r) const {
  for (const auto& [letter, list] : traits.values)
    if (letter == r) return &list;
  return nullptr;
}

std::vector<std::unique_ptr<Description>>& Descriptions::all() {
  static std::vector<std::unique_ptr<Description>> list;
  return list;
}

const Description& Descriptions::of(const char* name) {
  for (const auto& d : all())
    if (strcmp(d->operation.name, name) == 0) return *d;
  fprintf(stderr, "%s is not described\n", name);
  abort();
}

// ---- arguments

int Arguments::position(char role, int which) const {
  for (size_t i = 0; i < slots.size(); ++i)
    if (description.role(i) == role && --which == 0) return static_cast<int>(i);
  return -1;
}

size_t Arguments::existing(char role, int which) const {
  const int i = position(role, which);
  if (i >= 0) return static_cast<size_t>(i);
  fprintf(stderr, "%s has no %c %d in \"%s\"\n", description.operation.name, role, which, description.roles.c_str());
  abort();
}

double Arguments::real(char role, int which) const {
  const size_t i = existing(role, which);
  return withSample(description.operation.parameters[i].sample,
                    [&]<class T>(T) { return static_cast<double>(slots[i].as<T>()); });
}

void Arguments::set(char role, double value, int which) {
  const size_t i = existing(role, which);
  withSample(description.operation.parameters[i].sample, [&]<class T>(T) { slots[i].as<T>() = static_cast<T>(value); });
}

QoriSize Arguments::size() const {
  const int i = position('z');
  if (i < 0) return {1, 1};
  if (description.operation.parameters[static_cast<size_t>(i)].kind == Parameter::Size) return at<QoriSize>('z');
  return {number('z'), 1};
}

Shape Arguments::shape(size_t i) const {
  const char role = description.role(i);
  const QoriSize region = size();
  const bool isResult = isOneOf(role, "di") || (role == 'l' && description.operation.parameters[i].isWritten);
  Shape s{region.width, region.height, isResult ? description.resultChannels : description.channels};
  if (role == 'm') s.channels = 1;
  if (isOneOf(role, "rq")) s = {1, 1, 1};
  if (description.traits.shape) description.traits.shape(*this, role, description.which(i), s);
  return s;
}

// ---- calls

Call::Call(const Description& d, Case& itsCase, Pixels pixels, const Own& own, const Call* itsTwin)
    : Arguments(d),
      c(itsCase),
      twin(itsTwin),
      pixels_(pixels),
      images_(slots.size()),
      blocks_(slots.size()),
      lists_(slots.size()),
      listRows_(slots.size()) {
  drawNumbers();
  if (d.traits.draw) d.traits.draw(*this);
  if (own.draw) own.draw(*this);
  makeImages(pixels);
  if (twin == nullptr) {
    if (d.traits.fill && pixels == Pixels::Drawn) d.traits.fill(*this);
    if (own.fill) own.fill(*this);
  } else if (twin->isInPlace() && !isInPlace()) {
    shareImage();
  }
  if (d.traits.arrange && pixels == Pixels::Drawn) d.traits.arrange(*this);
  forEach(d, [&](size_t i, char role) {
    const Parameter& p = d.operation.parameters[i];
    if (twin != nullptr && (p.kind == Parameter::Number || p.kind == Parameter::Structure) && !isOneOf(role, ".o"))
      slots[i] = twin->slots[i];
    if (role == 'a' && p.kind == Parameter::List)
      *reinterpret_cast<void**>(block('a', sizeof(void*))) = noAccess<char>();
    if (images_[i] == nullptr) return;
    images_[i]->keep();
    if (!isOutput(i) && static_cast<int>(i) != inPlace_) images_[i]->protect();
  });
  forEach(d, [&](size_t i, char role) {
    const Parameter& p = d.operation.parameters[i];
    if (role == 'w' && p.kind == Parameter::Pointer) {
      const int bytes = d.traits.scratch ? d.traits.scratch(*this) : 0;
      if (pixels == Pixels::None)
        slots[i].as<void*>() = zeroMemory(i, bytes);
      else
        block('w', bytes, d.which(i));
    }
    if (isOneOf(role, "rq") && p.kind == Parameter::Pointer) {
      const bool isNull = twin != nullptr ? twin->slots[i].as<void*>() == nullptr : d.mayBeNull(i) && c.random.oneIn(4);
      // Results are aligned to their type, as the end of a page is.
      const auto bytes = static_cast<ptrdiff_t>(std::max<size_t>(p.bytes, 1)) * shape(i).width;
      if (!isNull) {
        blocks_[i] = {std::make_unique<GuardedBytes>(bytes), static_cast<size_t>(bytes)};
        slots[i].as<void*>() = blocks_[i].bytes->data();
      }
    }
    if (blocks_[i].bytes != nullptr && !p.isWritten) blocks_[i].bytes->protect();
  });
}

Call::~Call() = default;

// A variant above 0 takes a source for the destination.
void Call::drawNumbers() {
  const Description& d = description;
  int inPlaceForms = 0;
  forEach(d, [&](size_t i, char role) {
    const Parameter& p = d.operation.parameters[i];
    if (d.roles[i] == 'S' && ++inPlaceForms == c.variant) inPlace_ = static_cast<int>(i);
    if (role == 'z') {
      if (p.kind == Parameter::Size)
        slots[i].as<QoriSize>() = c.size;
      else
        set('z', c.size.width);
    } else if (role == 'c' && d.valuesOf('c') == nullptr) {
      set('c', c.random.between(1, 3));
    } else if (role == 'o') {
      slots[i].as<int>() = c.random.oneIn(4) ? c.random.below(30) : c.random.below(8);
    } else if (role == 'p') {
      // The first pixel is one of every region.
      slots[i].as<QoriPoint>() = {c.usual ? 0 : c.random.below(c.size.width),
                                  c.usual ? 0 : c.random.below(c.size.height)};
    } else if (role == 'v') {
      withSample(p.sample, [&]<class T>(T) {
        Maker<T> maker(Data::Random, c.random.bits());
        std::vector<T> values;
        for (int k = 0; k < d.channels; ++k) values.push_back(maker(0, 0, 0));
        if (p.kind == Parameter::Pointer)
          array('v', values, d.which(i));
        else
          slots[i].as<T>() = values[0];
      });
    } else if (const auto* values = d.valuesOf(role); values != nullptr) {
      const int drawn = c.random.below(static_cast<int>(values->size()));
      const double value = (*values)[c.usual ? 0 : static_cast<size_t>(drawn)];
      set(role, value, d.which(i));
      appendCase(" %c %.9g", role, value);
    }
  });
}

bool Call::isOutput(size_t i) const {
  const char role = description.role(i);
  return isOneOf(role, "di") || (role == 'l' && description.operation.parameters[i].isWritten);
}

void Call::makeImages(Pixels pixels) {
  forEach(description, [&](size_t i, char) {
    if (description.isImage(i)) makeImage(i, pixels);
  });
  if (inPlace_ >= 0) shareImage();
}

void Call::shareImage() {
  if (inPlace_ < 0) inPlace_ = position('s');
  const int d = position('d'), target = d >= 0 ? d : position('i'), source = inPlace_;
  images_[static_cast<size_t>(target)] = images_[static_cast<size_t>(source)];
  const int count = description.isBits(static_cast<size_t>(target))    ? 3
                    : description.hasStep(static_cast<size_t>(target)) ? 2
                                                                       : 1;
  for (int k = 0; k < count; ++k) slots[static_cast<size_t>(target + k)] = slots[static_cast<size_t>(source + k)];
  appendCase(" in place");
}

void Call::makeImage(size_t i, Pixels pixels) {
  const Parameter& p = description.operation.parameters[i];
  if (twin != nullptr ? twin->images_[i] == nullptr : description.mayBeNull(i) && !c.usual && c.random.oneIn(2)) {
    slots[i + 1].as<int>() = -1;
    return;
  }
  Shape s = shape(i);
  if (description.isBits(i)) {
    // A row of bits takes whole bytes: those that hold its pixels and margins, seen from the first pixel's byte.
    const int offset = slots[i + 2].as<int>();
    const int inner = bytesOfBits(offset + s.width);
    s.margin.left = bytesOfBits(s.margin.left - std::min(s.margin.left, offset));
    s.margin.right = bytesOfBits(offset + s.width + s.margin.right) - inner;
    s.width = inner;
  }
  const char role = description.role(i);
  c.leastStep = s.leastStep;
  withSample(p.sample, [&]<class T>(T) {
    const QoriSize size = toSize(s);
    const bool isJunk = twin != nullptr || (isOutput(i) && role != 'i');
    if (pixels == Pixels::None)
      images_[i].reset(new NoPixels(i, s, sizeof(T)));
    else if (std::is_same_v<T, Qor8u> && role == 'm' && !isJunk)
      images_[i].reset(new TypedImage<Qor8u>(c.mask(size)));
    else
      images_[i].reset(
          new TypedImage<T>(isJunk ? c.output<T>(size, s.channels, s.margin) : c.image<T>(size, s.channels, s.margin)));
    // Where a call was made in place, its destination is its source.
    const bool isShared = twin != nullptr && twin->isInPlace() && static_cast<int>(i) != twin->inPlace_ &&
                          twin->images_[i] == twin->images_[static_cast<size_t>(twin->inPlace_)];
    if (twin != nullptr && !isShared) images_[i]->putBack(*twin->images_[i]);
  });
  slots[i].as<void*>() = images_[i]->data();
  if (description.hasStep(i)) slots[i + 1].as<int>() = images_[i]->step();
  if (p.kind == Parameter::List) makeList(i, s);
}

// Addresses need not ascend: those of a destination descend, those of a source repeat here and there.
void Call::makeList(size_t i, const Shape& s) {
  const int rows = static_cast<int>(s.height);
  const bool isWritten = description.operation.parameters[i].isWritten;
  // A source's rows are drawn once, and are the same in the twin.
  if (twin != nullptr)
    listRows_[i] = twin->listRows_[i];
  else
    for (int y = 0; y < rows; ++y)
      listRows_[i].push_back(isWritten ? rows - 1 - y : c.random.oneIn(4) ? c.random.below(rows) : y);
  for (const int row : listRows_[i]) lists_[i].push_back(images_[i]->row(row));
  putArray('l', lists_[i].data(), lists_[i].size() * sizeof(void*), description.which(i));
}

uint8_t* Call::block(char role, ptrdiff_t bytes, int which) {
  const size_t i = existing(role, which);
  // The address of a record stands aligned, as the end of a page is.
  blocks_[i] = {std::make_unique<GuardedBytes>(role == 'a' ? GuardedBytes(bytes) : c.scratch(bytes)),
                static_cast<size_t>(bytes)};
  slots[i].as<void*>() = blocks_[i].bytes->data();
  return blocks_[i].bytes->data();
}

void Call::putArray(char role, const void* values, size_t bytes, int which) {
  const size_t i = existing(role, which);
  blocks_[i] = {std::make_unique<GuardedBytes>(static_cast<ptrdiff_t>(bytes)), bytes};
  memcpy(blocks_[i].bytes->data(), values, bytes);
  slots[i].as<void*>() = blocks_[i].bytes->data();
}

// Upper halves of wide registers that are left in use slow down the caller's own vectors. Processors that do not tell
// have none, and debug builds do not clear them.
static bool upperHalvesInUse() {
#ifndef NDEBUG
  return false;
#endif
  constexpr unsigned tells = 1 << 2, upperHalves = 1 << 2;
  unsigned a = 0, b = 0, c = 0, d = 0;
  if (!__builtin_cpu_supports("avx") || __get_cpuid_count(0xd, 1, &a, &b, &c, &d) == 0 || (a & tells) == 0)
    return false;
  asm volatile("xgetbv" : "=a"(a), "=d"(d) : "c"(1));
  return (a & upperHalves) != 0;
}

void Call::run(Operation::Function function) {
  status = description.operation.invoke(function, slots.data());
  EXPECT_FALSE(upperHalvesInUse()) << currentCase();
  verifyBits();
}

// Pixels of a row of bits, margins included.
Image<Qor8u> Call::bits(size_t i, const Image<Qor8u>& bytes) const {
  const int offset = slots[i + 2].as<int>();
  const Shape s = shape(i);
  Image<Qor8u> pixels(toSize(s), 1, s.margin);
  for (int y = -s.margin.top; y < s.height + s.margin.bottom; ++y) {
    for (int x = -s.margin.left; x < s.width + s.margin.right; ++x) {
      const int bit = offset + x;
      pixels.at(x, y) = static_cast<Qor8u>(bytes.at(bit >> 3, y) >> (bit & 7) & 1);
    }
  }
  return pixels;
}

Image<Qor8u> Call::bitsBefore(char role, int which) const {
  return bits(existing(role, which), before<Qor8u>(role, which));
}

Image<Qor8u> Call::bitsAfter(char role, int which) const {
  return bits(existing(role, which), after<Qor8u>(role, which));
}

// Bits of the first and last byte of a row that are not of the region stay.
void Call::verifyBits() const {
  if (pixels_ == Pixels::None) return;
  forEach(description, [&](size_t i, char role) {
    if (!description.isBits(i) || !isOutput(i)) return;
    const Image<Qor8u>& was = before<Qor8u>(role, description.which(i));
    const Image<Qor8u> is = after<Qor8u>(role, description.which(i));
    const int offset = slots[i + 2].as<int>(), end = offset + static_cast<int>(shape(i).width);
    for (int y = 0; y < is.size.height; ++y) {
      for (int bit = 0; bit < 8 * is.size.width; ++bit) {
        if (bit >= offset && bit < end) continue;
        ASSERT_EQ((was.at(bit >> 3, y) ^ is.at(bit >> 3, y)) >> (bit & 7) & 1, 0)
            << "bit " << bit << " of row " << y << " is outside, case: " << currentCase();
      }
    }
  });
}

void Call::expectUntouched() const {
  forEach(description, [&](size_t i, char role) {
    if (images_[i] != nullptr) images_[i]->expectKept();
    EXPECT_TRUE(role != 'a' || *slots[i].as<void**>() == noAccess<char>()) << currentCase();
  });
}

void Call::expectSameResults(const Call& other, const char* what) const {
  EXPECT_EQ(other.status, status) << what << ", case: " << currentCase();
  forEach(description, [&](size_t i, char role) {
    if (images_[i] != nullptr && isOutput(i)) images_[i]->expectSame(*other.images_[i], what);
    if (role != 'r' || blocks_[i].bytes == nullptr) return;
    const Parameter& p = description.operation.parameters[i];
    const uint8_t *a = blocks_[i].bytes->data(), *b = other.blocks_[i].bytes->data();
    if (memcmp(a, b, blocks_[i].size) == 0) return;
    bool isSame = p.sample == Sample::F32 || p.sample == Sample::F64;
    if (isSame) {
      withSample(p.sample, [&]<class T>(T) {
        for (size_t at = 0; at < blocks_[i].size; at += sizeof(T)) {
          T x, y;
          memcpy(&x, a + at, sizeof x), memcpy(&y, b + at, sizeof y);
          isSame = isSame && same(x, y, Equal::SignedZeros);
        }
      });
    }
    EXPECT_TRUE(isSame) << what << ": result " << description.nameOf(i) << " differs, case: " << currentCase();
  });
}

// ---- runs

std::vector<double> borders(std::initializer_list<int> rules, int flags) {
  std::vector<double> values;
  for (const int rule : rules) {
    for (int f = 16; f < 256; f += 16) values.insert(values.end(), {double(rule), double(rule | (f & flags))});
  }
  return values;
}

void runCase(const Description& d, Case& c, const Own& own) {
  // Whatever the machine: teams on cores as they come, and caches that are large or not known, which changes how
  // results are stored.
  StandIn core;
  core.cores = c.random.oneIn(4) ? 1 : 64;
  core.cacheSize = c.random.oneIn(2) ? -1 : 1 << 25;
  const Case start = c;
  const std::string text = currentCase();
  Call call(d, c, Call::Pixels::Drawn, own);
  call.run(d.operation.function);
  if (d.traits.expect) d.traits.expect(call);
  EXPECT_EQ(call.status, call.wanted) << currentCase();
  const auto compare = [&](Operation::Function function, const char* what) {
    setCase("%s", text.c_str());
    Case same = start;
    Call again(call, same, own);
    again.run(function);
    call.expectSameResults(again, what);
    if (again.status >= qorStsNoErr && d.traits.release) d.traits.release(again);
  };
  const Operation::Function plain = atPlainLevel(d.operation);
  if (plain != nullptr) compare(plain, "at the plain level");
  if (!d.traits.expect && !d.traits.threadsShow && c.threads > 1) {
    const ThreadCount one(1);
    compare(d.operation.function, "with one thread");
  }
  if (call.status >= qorStsNoErr && d.traits.release) d.traits.release(call);
}

void runOwn(const char* name, QoriSize size, const Own& own, int threads) {
  setCase("%s %dx%d, data of its own, %d threads", name, size.width, size.height, threads);
  const ThreadCount count(threads);
  Case c(size);
  c.threads = threads;
  runCase(Descriptions::of(name), c, own);
}

void runSweep(const Description& d) {
  Sweep options = d.traits.sweep;
  options.variants = 1 + static_cast<int>(std::count(d.roles.begin(), d.roles.end(), 'S'));
  const int64_t two = d.traits.team.least(2, 4, d.channels), three = d.traits.team.least(3, 4, d.channels);
  if (options.thresholds.empty() && two != 0) {
    // Enough for a team of two, and for one of three on two rows.
    const int side = static_cast<int>(ceil(sqrt(static_cast<double>(two))));
    options.thresholds = {{side, side}, {static_cast<int>(three / 2) + 1, 2}};
  }
  if (d.operation.parameters.empty()) options.widths = {1}, options.heights = {1};
  sweep(d.operation.name, options, [&](Case& c) { runCase(d, c); });
}

// On both sides of the rule's sizes, on machines of one core and of several.
void runTeam(const Description& d) {
  const Traits& t = d.traits;
  const auto expectTeam = [&](QoriSize size, int threads, int cores) {
    setCase("%s %dx%d, %d threads, %d cores", d.operation.name, size.width, size.height, threads, cores);
    const ThreadCount count(threads);
    StandIn core;
    core.cores = cores;
    Case c(size);
    c.usual = true;
    Call call(d, c, Call::Pixels::None);
    core.regions = 0;
    call.run(d.operation.function);
    EXPECT_GE(call.status, qorStsNoErr) << currentCase();
    if (t.release) t.release(call);
    const int64_t least = t.team.least(threads, cores, d.channels);
    const bool isLarge = least != 0 && int64_t{size.width} * size.height >= least;
    const int team = t.teamOf ? t.teamOf(call, threads, cores) : isLarge ? threads : 0;
    EXPECT_EQ(core.regions, team != 0 ? 1 : 0) << currentCase();
    EXPECT_TRUE(team == 0 || core.lastTeam == static_cast<unsigned>(team)) << core.lastTeam << ' ' << currentCase();
  };
  for (const int cores : {1, 4, 64}) {
    for (const int threads : {1, 2, 3, 7, 52}) {
      for (const QoriSize size : t.teamSizes) expectTeam(size, threads, cores);
      if (!t.teamSizes.empty() || threads > 3) continue;
      const int64_t pixels = t.team.least(threads, cores, d.channels);
      if (pixels == 0 && !t.teamOf && (threads != 3 || cores != 64)) continue;  // what is never shared is asked once
      const int least = pixels != 0 ? static_cast<int>(pixels) : 1 << 21;
      expectTeam({least - 1, 1}, threads, cores);
      expectTeam({(least + 63) / 64, 64}, threads, cores);
    }
  }
}

// Allocations fail from the first, the second, ... on, until none does. An operation may do without.
void runMemory(const Description& d) {
  constexpr int enough = 64;
  for (int allowed = 0; allowed < enough; ++allowed) {
    setCase("%s with %d allocations", d.operation.name, allowed);
    Case c({17, 5}, baseSeed(), Guard::After, d.traits.sweep.finite);
    c.threads = 40;
    const ThreadCount count(c.threads);
    Call call(d, c);
    StandIn core;
    core.allocationsAllowed = allowed;
    call.run(d.operation.function);
    const bool isShort = core.refused != 0;
    EXPECT_TRUE(call.status >= qorStsNoErr || (isShort && call.status == qorStsMemAllocErr)) << call.status;
    if (call.status == qorStsMemAllocErr)
      call.expectUntouched();
    else if (d.traits.release)
      d.traits.release(call);
    EXPECT_EQ(core.allocations, core.frees) << "blocks that are not given back, " << currentCase();
    if (!isShort) return;
  }
  ADD_FAILURE() << d.operation.name << " allocates without end";
}

namespace {

class DescribedTest : public testing::Test {
 public:
  DescribedTest(void (*run)(const Description&), const Description& d) : run_(run), description_(d) {}
  void TestBody() override { run_(description_); }

 private:
  void (*run_)(const Description&);
  const Description& description_;
};

}  // namespace

void registerDescriptions() {
  constexpr struct {
    const char* suite;
    void (*run)(const Description&);
  } runs[] = {{"Contract", runContract}, {"Sweep", runSweep}, {"Team", runTeam}, {"Memory", runMemory}};
  for (const auto& r : runs) {
    if (r.run == runSweep && wideRunCompares()) continue;
    for (const auto& d : Descriptions::all())
      testing::RegisterTest(r.suite, d->operation.name, nullptr, nullptr, __FILE__, __LINE__,
                            [run = r.run, &d = *d]() -> testing::Test* { return new DescribedTest(run, d); });
  }
}

}  // namespace qortest
