// What the machine itself can do, as rows beside the others.
#include <algorithm>
#include <cstring>

#include "support/row.h"

namespace qor::bench {
namespace {

const Register references([] {
  Row("memcpy_8u").alsoAt(huge).threads(2, huge).run([](Setup& s) {
    const auto from = s.random<Qor8u>(), to = s.blank<Qor8u>();
    return checked(
        [=] {
          for (int y = 0; y < to.height; ++y) std::memcpy(&to(0, y), &from(0, y), static_cast<size_t>(to.samples));
        },
        [=] { return to.all([=](int x, int y) { return to(x, y) == from(x, y); }); });
  });
  Row("memset_8u").run([](Setup& s) {
    const auto to = s.blank<Qor8u>();
    return checked(
        [=] {
          for (int y = 0; y < to.height; ++y) std::memset(&to(0, y), 7, static_cast<size_t>(to.samples));
        },
        [=] { return to.all([=](int x, int y) { return to(x, y) == 7; }); });
  });
  // Each call sorts a fresh copy; the copy is a hundredth of the time.
  Row("std::sort_64f").sizes({{1000000, 1}}).run([](Setup& s) {
    const Qor64f* from = s.randomVector<Qor64f>();
    Qor64f* values = s.blankVector<Qor64f>();
    const int len = s.len();
    return checked(
        [=] {
          std::copy(from, from + len, values);
          std::sort(values, values + len);
        },
        [=] { return std::is_sorted(values, values + len); });
  });
});

}  // namespace
}  // namespace qor::bench
