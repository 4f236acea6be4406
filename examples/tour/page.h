// What the tour leaves behind: one page that holds all its pictures, and a contact sheet.
#ifndef QORCV_TOUR_PAGE_H
#define QORCV_TOUR_PAGE_H

#include <string>
#include <vector>

#include "tour.h"

namespace tour {

// A section that ran, or failed.
struct Result {
  const Section* section = nullptr;
  Output output;
  double milliseconds = 0;  // the whole section, drawing included
  std::string error;        // empty when all went well
};

// An HTML page without any reference to other files. Every figure has its PNG.
std::string makePage(const Input& in, int threads, const std::vector<Result>& results);

// All figures, small, under the names of their sections.
Picture makeContactSheet(const std::vector<Result>& results);

}  // namespace tour

#endif
