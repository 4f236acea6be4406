#include "tour.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "section_sources.h"

namespace tour {
namespace {

// The file of a section is its name with low lines.
const char* sourceOf(const char* name) {
  std::string stem = name;
  std::replace(stem.begin(), stem.end(), '-', '_');
  for (const SectionSource& source : sectionSources) {
    if (stem == source.stem) return source.text;
  }
  return "";
}

}  // namespace

void Output::note(const char* code, QorStatus status, double milliseconds) {
  if (status < qorStsNoErr) {
    throw std::runtime_error(std::string(code, strcspn(code, "(")) + " returned status " + std::to_string(status));
  }
  const auto same = std::find_if(calls.begin(), calls.end(), [&](const Call& c) { return c.code == code; });
  Call& entry = same != calls.end() ? *same : calls.emplace_back(Call{code});
  entry.milliseconds += milliseconds;
  ++entry.count;
}

const std::vector<Section>& allSections() {
  static const std::vector<Section> sections = {
#define TOUR_SECTION(function, name, title) {name, title, function, sourceOf(name)},
#include "sections/sections.def"
#undef TOUR_SECTION
  };
  return sections;
}

}  // namespace tour
