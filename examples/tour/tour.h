// What a section of the tour sees. A section shows one family of the library at work, in the form a user would use.
//
// To add one:
//   1. write sections/my_family.cpp with one short function
//
//        void tour::myFamily(const Input& in, Output& out) {
//          out.text("What the reader sees and why one would want it.");
//          const Picture& gray = in.grays[0];
//          Picture result(gray.width(), gray.height());
//          TOUR_CALL(out, qoriSomething_8u_C1R(gray.data(), gray.step(), result.data(), result.step(), gray.size()));
//          out.figure("What this picture shows", result);
//        }
//
//   2. add its line to sections/sections.def at the place where it shall stand.
//
// Pictures come in any size from 16 x 16 on, gray ones as one channel and colour ones as three; draw.h has lines,
// arrows, text and colour maps. TOUR_CALL stops the section when the status is negative.
#ifndef QORCV_TOUR_TOUR_H
#define QORCV_TOUR_TOUR_H

#include <chrono>
#include <string>
#include <vector>

#include "draw.h"
#include "image.h"
#include "qorcv.h"

namespace tour {

// The pictures to work on. All have one size.
struct Input {
  std::string name;             // the file, or what the built-in scene is called
  std::string motion;           // one sentence: what moves from frame to frame
  std::vector<Picture> frames;  // eight pictures in colour: a camera that stands still, and things that move
  std::vector<Picture> grays;   // the same in gray
  Picture turned;               // the first frame from a camera that was moved a little: shifted, rotated, nearer
  Picture turnedGray;           // the same in gray
};

struct Figure {
  std::string caption;
  Picture picture;
  std::vector<Qor8u> png = {};  // the encoded picture, filled in behind the section
};

// One call as it stands in the source, and the time that it took: the sum over the repetitions in a section.
struct Call {
  std::string code;
  double milliseconds = 0;
  int count = 0;
};

// Takes what a section has to show.
class Output {
 public:
  // A paragraph under the title.
  void text(std::string paragraph) { paragraphs.push_back(std::move(paragraph)); }

  // A picture with its caption, one channel or three.
  void figure(std::string caption, Picture picture) { figures.push_back({std::move(caption), std::move(picture)}); }

  // Runs a call of the library `runs` times and notes its text and its best time. Throws std::runtime_error for a
  // negative status. Use the macros below.
  template <class F>
  QorStatus call(const char* code, int runs, F&& function) {
    using Clock = std::chrono::steady_clock;
    QorStatus status = qorStsNoErr;
    double best = 0;
    for (int i = 0; i < runs && status >= qorStsNoErr; ++i) {
      const Clock::time_point start = Clock::now();
      status = function();
      const double time = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
      if (i == 0 || time < best) best = time;
    }
    note(code, status, best);
    return status;
  }

  std::vector<std::string> paragraphs;
  std::vector<Figure> figures;
  std::vector<Call> calls;

 private:
  void note(const char* code, QorStatus status, double milliseconds);
};

// Runs one call of the library, once. The macro is there to show the very text of the call on the page.
#define TOUR_CALL(out, ...) (out).call(#__VA_ARGS__, 1, [&] { return __VA_ARGS__; })

// The same with the best time of several runs, for calls that give the same result when they are repeated.
#define TOUR_CALL_BEST(out, ...) (out).call(#__VA_ARGS__, 5, [&] { return __VA_ARGS__; })

struct Section {
  const char* name;   // as --only takes it; the source file's name with hyphens
  const char* title;  // as the page shows it
  void (*run)(const Input& in, Output& out);
  const char* source;  // the text of the source file
};

// All sections in the order of sections.def.
const std::vector<Section>& allSections();

#define TOUR_SECTION(function, name, title) void function(const Input& in, Output& out);
#include "sections/sections.def"
#undef TOUR_SECTION

}  // namespace tour

#endif
