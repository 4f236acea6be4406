#include "support/best.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace qor::bench {

BestTable readBest(const std::string& path) {
  BestTable table;
  std::ifstream file(path);
  for (std::string line, name; std::getline(file, line);) {
    std::istringstream fields(line);
    Best best;
    if (line[0] != '#' && std::getline(fields, name, '\t') &&
        fields >> best.ns[0] >> best.ns[1] >> best.instructions[0] >> best.instructions[1])
      table[name] = best;
  }
  return table;
}

bool writeBest(const std::string& path, const BestTable& table) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) return false;
  std::fprintf(file, "# row\tns plain\tns wide\tinstructions plain\tinstructions wide\n");
  for (const auto& [name, best] : table)
    std::fprintf(file, "%s\t%.4g\t%.4g\t%.4g\t%.4g\n", name.c_str(), best.ns[0], best.ns[1], best.instructions[0],
                 best.instructions[1]);
  return std::fclose(file) == 0;
}

std::string verdict(const Best& best, const std::vector<double>& ns) {
  static const char* const names[] = {"plain", "wide"};
  std::string text;
  for (size_t level = 0; level < ns.size(); ++level) {
    const double worse = ns[level] / best.ns[level] - 1;
    if (best.ns[level] == 0 || worse <= tolerance) continue;
    char part[64];
    std::snprintf(part, sizeof part, "%s%s %.0f%% SLOWER than its best", text.empty() ? "" : ", ", names[level],
                  100 * worse);
    text += part;
  }
  return text;
}

std::vector<Bound> readBounds(const std::string& path) {
  std::vector<Bound> bounds;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    Bound bound;
    std::string names;
    if (fields >> bound.atMost && std::getline(fields >> std::ws, bound.group, '\t') && std::getline(fields, names)) {
      bound.names = names;
      bounds.push_back(std::move(bound));
    }
  }
  return bounds;
}

void count(std::vector<Bound>& bounds, const std::string& row, double ratio) {
  for (Bound& bound : bounds) {
    if (!std::regex_search(row, bound.names)) continue;
    ++bound.rows;
    if (ratio > bound.atMost) ++bound.above;
    if (ratio > bound.worst) {
      bound.worst = ratio;
      bound.worstRow = row;
    }
    return;
  }
}

}  // namespace qor::bench
