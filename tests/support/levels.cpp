#include <dlfcn.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "support/described.h"

namespace qortest {
namespace {

constexpr char wideFolder[] = "/glibc-hwcaps/x86-64-v3";

// Folder and name of the library that an exported operation comes from; nothing for other operations.
struct Library {
  std::string folder, name;

  explicit Library(const char* operation) {
    Dl_info info;
    char path[PATH_MAX];
    void* const function = dlsym(RTLD_DEFAULT, operation);
    if (function == nullptr || dladdr(function, &info) == 0 || realpath(info.dli_fname, path) == nullptr) return;
    if (strstr(path, "libqorcv") == nullptr) return;
    const std::string whole = path;
    folder = whole.substr(0, whole.rfind('/')), name = whole.substr(whole.rfind('/'));
  }
  bool isWide() const { return folder.ends_with(wideFolder); }
};

void* openPlain(const Operation& operation) {
  const Library wide(operation.name);
  if (!wide.isWide()) return nullptr;
  const std::string plain = wide.folder.substr(0, wide.folder.size() - strlen(wideFolder)) + wide.name;
  void* const handle = dlopen(plain.c_str(), RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(handle, nullptr) << dlerror();
  return handle;
}

}  // namespace

Operation::Function atPlainLevel(const Operation& operation) {
  static void* const plain = openPlain(operation);
  return plain == nullptr ? nullptr : reinterpret_cast<Operation::Function>(dlsym(plain, operation.name));
}

bool wideRunCompares() {
  const char* const level = getenv("QORCV_TEST_LEVEL");
  const Library here("qorcvGetLibVersion");
  return level != nullptr && strcmp(level, "t6") == 0 && !here.folder.empty() && !here.isWide() &&
         __builtin_cpu_supports("avx2") && access((here.folder + wideFolder + here.name).c_str(), R_OK) == 0;
}

}  // namespace qortest
