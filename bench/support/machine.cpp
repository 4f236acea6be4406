#include "support/machine.h"

#include <omp.h>
#include <sched.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

namespace qor::bench {
namespace {

// From the last to the first: the system's own work tends to sit on the first.
std::vector<int> allowed() {
  std::vector<int> cpus;
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return cpus;
  for (int i = CPU_SETSIZE - 1; i >= 0; --i)
    if (CPU_ISSET(i, &set)) cpus.push_back(i);
  return cpus;
}

std::string environment(const char* name) {
  const char* value = getenv(name);
  return value != nullptr ? value : "not set";
}

std::string firstLine(const char* path, const std::string& key = "") {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);)
    if (line.compare(0, key.size(), key) == 0) return line.substr(line.find_first_not_of(" \t:", key.size()));
  return "unknown";
}

// {1},{0}
std::string braced(const std::vector<int>& cpus) {
  std::string text;
  for (const int cpu : cpus) {
    if (!text.empty()) text += ',';
    text += '{';
    text += std::to_string(cpu);
    text += '}';
  }
  return text;
}

std::vector<int> place(int i) {
  std::vector<int> ids(static_cast<size_t>(omp_get_place_num_procs(i)));
  omp_get_place_proc_ids(i, ids.data());
  return ids;
}

// The places as the runtime understood them; one of several processors shows as several.
std::string places() {
  std::vector<int> cpus;
  for (int i = 0; i < omp_get_num_places(); ++i)
    for (const int id : place(i)) cpus.push_back(id);
  return cpus.empty() ? "none" : braced(cpus);
}

}  // namespace

void pin(char** argv) {
  if (getenv("OMP_PLACES") == nullptr) {
    setenv("OMP_PLACES", braced(allowed()).c_str(), 1);
    setenv("OMP_PROC_BIND", "true", 1);
    setenv("OMP_WAIT_POLICY", "passive", 0);
    setenv("OMP_DYNAMIC", "false", 1);
    execv("/proc/self/exe", argv);
    std::perror("cannot start anew with the threads bound");
  }
  if (omp_get_num_places() == 0) return;
    // A first team binds this thread to its place where the runtime has not done so at start.
#pragma omp parallel
  {}
  cpu_set_t set;
  CPU_ZERO(&set);
  for (const int id : place(0)) CPU_SET(id, &set);
  if (sched_setaffinity(0, sizeof set, &set) != 0) std::perror("cannot bind the main thread");
}

int processors() {
  int count = 0;
  for (int i = 0; i < omp_get_num_places(); ++i) count += omp_get_place_num_procs(i);
  return count > 0 ? count : omp_get_num_procs();
}

std::vector<std::pair<std::string, std::string>> machine() {
  return {
      {"processor", firstLine("/proc/cpuinfo", "model name")},
      {"processors", std::to_string(processors())},
      {"affinity", "main thread on " + braced(allowed()) + ", OpenMP places " + places()},
      {"proc_bind", environment("OMP_PROC_BIND")},
      {"wait_policy", environment("OMP_WAIT_POLICY")},
      {"huge_pages", firstLine("/sys/kernel/mm/transparent_hugepage/enabled")},
      {"load", firstLine("/proc/loadavg")},
#ifdef __OPTIMIZE__
      {"build", "optimised"},
#else
      {"build", "NOT OPTIMISED: the figures mean nothing"},
#endif
  };
}

}  // namespace qor::bench
