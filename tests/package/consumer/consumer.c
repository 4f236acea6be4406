/* A program of a user: differences of two images that are wider than the region, on two threads. */
#include <qorcore.h>
#include <qorcv.h>
#include <stdio.h>
#include <string.h>

enum { STEP = 40, WIDTH = 33, HEIGHT = 5 };

int main(void) {
  static Qor8u a[HEIGHT * STEP], b[HEIGHT * STEP], difference[HEIGHT * STEP];
  const QoriSize size = {WIDTH, HEIGHT};
  int x, y, threads = 0;
  memset(a, 10, sizeof a);
  memset(b, 250, sizeof b);
  memset(difference, 77, sizeof difference);

  if (qorSetNumThreads(2) != qorStsNoErr || qorGetNumThreads(&threads) != qorStsNoErr || threads != 2) return 1;
  if (qoriAbsDiff_8u_C1R(a, STEP, b, STEP, difference, STEP, size) != qorStsNoErr) return 2;
  if (qoriAbsDiff_8u_C1R(a, STEP, b, WIDTH - 1, difference, STEP, size) != qorStsStepErr) return 3;
  for (y = 0; y < HEIGHT; ++y) {
    for (x = 0; x < STEP; ++x) {
      if (difference[y * STEP + x] != (x < WIDTH ? 240 : 77)) return 4;
    }
  }
  printf("%s %s\n", qorcvGetLibVersion()->name, qorcvGetLibVersion()->version);
  return 0;
}
