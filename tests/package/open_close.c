/* Opens the library while the program runs, makes a parallel call, closes it and goes on for a moment: the runtime's
 * idle workers live on and must not lose the code under them.
 *
 *   open_close LIBRARY EXPORTED-NAME...
 */
#include <dirent.h>
#include <dlfcn.h>
#include <qorcv.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

enum { SIDE = 512 };
static Qor8u a[SIDE * SIDE], b[SIDE * SIDE], difference[SIDE * SIDE];

static int threadsOfProcess(void) {
  DIR* tasks = opendir("/proc/self/task");
  int count = -2; /* the folder itself and the one above */
  if (tasks == NULL) return 0;
  while (readdir(tasks) != NULL) ++count;
  closedir(tasks);
  return count;
}

static int fail(const char* what) {
  fprintf(stderr, "open_close: %s\n", what);
  return 1;
}

int main(int argc, char** argv) {
  static const char* const hidden[] = {"qoriCopy_8u_C1R",
                                       "qorsMalloc_8u",
                                       "t6_qoriAbsDiff_8u_C1R",
                                       "v3_qoriAbsDiff_8u_C1R",
                                       "qoriAbsDiff_8u_C1R_arraddr",
                                       "qorJumpIndexForMergedDLL"};
  const QoriSize size = {SIDE, SIDE};
  const struct timespec moment = {0, 300000000};
  const QorLibraryVersion* (*version)(void);
  QorStatus (*setNumThreads)(int);
  QorStatus (*absDiff)(const Qor8u*, int, const Qor8u*, int, Qor8u*, int, QoriSize);
  void* library;
  int i;

  library = argc > 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  if (library == NULL) return fail(argc > 2 ? dlerror() : "usage: open_close LIBRARY EXPORTED-NAME...");
  for (i = 2; i < argc; ++i) {
    if (dlsym(library, argv[i]) == NULL) return fail(argv[i]);
  }
  for (i = 0; i < (int)(sizeof hidden / sizeof *hidden); ++i) {
    if (dlsym(library, hidden[i]) != NULL) return fail(hidden[i]);
  }

  *(void**)&version = dlsym(library, "qorcvGetLibVersion");
  *(void**)&setNumThreads = dlsym(library, "qorSetNumThreads");
  *(void**)&absDiff = dlsym(library, "qoriAbsDiff_8u_C1R");
  memset(a, 3, sizeof a);
  memset(b, 5, sizeof b);
  if (setNumThreads(2) != qorStsNoErr) return fail("qorSetNumThreads");
  if (absDiff(a, SIDE, b, SIDE, difference, SIDE, size) != qorStsNoErr) return fail("qoriAbsDiff_8u_C1R");
  for (i = 0; i < SIDE * SIDE; ++i) {
    if (difference[i] != 2) return fail("wrong difference");
  }
  if (threadsOfProcess() < 2) return fail("the call did not run in parallel");

  puts(version()->name);

  if (dlclose(library) != 0) return fail(dlerror());
  nanosleep(&moment, NULL);
  return 0;
}
