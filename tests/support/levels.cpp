#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "support/described.h"

namespace qortest {
namespace {

// The library of the wide level, when this program runs on that of the plain one, or the other way round. Nothing when
// it was not built or the processor lacks what it needs.
void* openOther(const Operation& operation) {
  Dl_info linked;
  char path[PATH_MAX];
  void* const function = dlsym(RTLD_DEFAULT, operation.name);
  if (function == nullptr || dladdr(function, &linked) == 0) return nullptr;
  if (realpath(linked.dli_fname, path) == nullptr || strstr(path, "libqorcv") == nullptr) return nullptr;
  const std::string here = path, name = here.substr(here.rfind('/')), folder = here.substr(0, here.rfind('/'));
  const std::string wide = "/glibc-hwcaps/x86-64-v3";
  const bool isWide = folder.ends_with(wide);
  // With the plain one chosen on a processor that can do more, the other run of the tests has compared them.
  if (!isWide) return nullptr;
  const std::string other = folder.substr(0, folder.size() - wide.size()) + name;
  void* handle = dlopen(other.c_str(), RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(handle, nullptr) << dlerror();
  return handle;
}

}  // namespace

Operation::Function atOtherLevel(const Operation& operation) {
  static void* const other = openOther(operation);
  return other == nullptr ? nullptr : reinterpret_cast<Operation::Function>(dlsym(other, operation.name));
}

}  // namespace qortest
