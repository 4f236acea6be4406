// The best known figures, kept in bench/best.tsv: one line a row, in the order of names.
#pragma once

#include <map>
#include <regex>
#include <string>
#include <vector>

namespace qor::bench {

// Differences below this are noise.
constexpr double tolerance = 0.1;

// Per pixel and of each level, plain first; 0 is not known. Times are those of the row at 1920x1080 with one thread, or
// at its only size, instructions those of its counted call.
struct Best {
  double ns[2] = {}, instructions[2] = {};
};

using BestTable = std::map<std::string, Best>;

BestTable readBest(const std::string& path);
// False when the file cannot be written.
bool writeBest(const std::string& path, const BestTable& table);

// Names the levels whose time is worse than the best known one; empty when none is.
std::string verdict(const Best& best, const std::vector<double>& ns);

// What the wide level may take of the plain one's time, for the rows that a line of bench/ratios.tsv names, and how it
// went.
struct Bound {
  double atMost = 0;
  std::string group;
  std::regex names;
  int rows = 0, above = 0;
  double worst = 0;
  std::string worstRow;
};

std::vector<Bound> readBounds(const std::string& path);
// Counts for the first bound that names the row.
void count(std::vector<Bound>& bounds, const std::string& row, double ratio);

}  // namespace qor::bench
