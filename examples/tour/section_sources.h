// The texts of the sections' source files, for the page. The build writes the table.
#ifndef QORCV_TOUR_SECTION_SOURCES_H
#define QORCV_TOUR_SECTION_SOURCES_H

#include <span>

namespace tour {

struct SectionSource {
  const char* stem;
  const char* text;
};
extern const std::span<const SectionSource> sectionSources;

}  // namespace tour

#endif
