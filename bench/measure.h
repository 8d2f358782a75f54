// Side-by-side measurements: both candidates run in turn, round after round, in one process, so
// that whatever else the machine does meets both. A row is one line of JSON, in the file that the
// environment variable BENCH_ROWS names (without it on standard output, where the library's own
// texts go too); scripts/bench makes the table of them.
#ifndef LAUNCHER_BENCH_MEASURE_H_
#define LAUNCHER_BENCH_MEASURE_H_

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace bench {

// Many short rounds: a round that the system interrupts is an outlier that the median leaves out.
inline constexpr int kRounds = 501;

using Clock = std::chrono::steady_clock;

inline double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Keeps the compiler from leaving out work whose result nobody looks at.
inline void Use(const void* memory) { asm volatile("" : : "r"(memory) : "memory"); }

/// Nanoseconds that one call of `work` takes, `repetitions` calls taken together.
template <typename Work>
double TimeOf(const Work& work, int repetitions) {
  const auto start = Clock::now();
  for (int i = 0; i < repetitions; ++i) work();
  const std::chrono::duration<double, std::nano> span = Clock::now() - start;
  return span.count() / repetitions;
}

struct Comparison {
  double baseline;  // median, nanoseconds
  double subject;
  double ratio;  // median of the rounds' ratios
};

/// Measures `subject` against `baseline`. Each round runs both, `repetitions` times each.
template <typename Baseline, typename Subject>
Comparison Compare(const Baseline& baseline, int baselineRepetitions, const Subject& subject,
                   int subjectRepetitions, int rounds = kRounds) {
  TimeOf(baseline, baselineRepetitions);
  TimeOf(subject, subjectRepetitions);
  std::vector<double> baselines;
  std::vector<double> subjects;
  std::vector<double> ratios;
  for (int round = 0; round < rounds; ++round) {
    baselines.push_back(TimeOf(baseline, baselineRepetitions));
    subjects.push_back(TimeOf(subject, subjectRepetitions));
    ratios.push_back(subjects.back() / baselines.back());
  }
  return {Median(baselines), Median(subjects), Median(ratios)};
}

/// Where the rows go.
inline std::FILE* Rows() {
  static std::FILE* const rows = [] {
    // Nothing here changes the environment.
    const char* const path = std::getenv("BENCH_ROWS");  // NOLINT(concurrency-mt-unsafe)
    return path == nullptr ? stdout : std::fopen(path, "ab");
  }();
  return rows;
}

struct Row {
  std::string name;
  std::string against;
  double value;
  /// The largest (or, with `atLeast`, the smallest) value that is good; 0 when there is none.
  double goal = 0;
  bool atLeast = false;
  std::string unit = "ratio";
  /// The medians behind a ratio, in nanoseconds; 0 when the value is none.
  double baseline = 0;
  double subject = 0;
};

inline void Print(const Row& row) {
#ifdef _WIN32
  const char* const platform = "Wine";
#else
  const char* const platform = "native";
#endif
  std::fprintf(Rows(),
               "{\"platform\":\"%s\",\"name\":\"%s\",\"against\":\"%s\",\"value\":%.3f,"
               "\"goal\":%.3f,\"atLeast\":%s,\"unit\":\"%s\",\"baseline\":%.2f,"
               "\"subject\":%.2f}\n",
               platform, row.name.c_str(), row.against.c_str(), row.value, row.goal,
               row.atLeast ? "true" : "false", row.unit.c_str(), row.baseline, row.subject);
  std::fflush(Rows());
}

/// Prints how many times the baseline's time the subject takes. Medians are those of one of the
/// `parts` that a call consists of.
inline void PrintRatio(const std::string& name, const std::string& against,
                       const Comparison& comparison, double goal, double parts = 1) {
  Print({name, against, comparison.ratio, goal, false, "ratio", comparison.baseline / parts,
         comparison.subject / parts});
}

/// Prints how many times faster than the baseline the subject is.
inline void PrintTimesFaster(const std::string& name, const std::string& against,
                             const Comparison& comparison, double goal) {
  Print({name, against, 1 / comparison.ratio, goal, true, "ratio", comparison.baseline,
         comparison.subject});
}

/// Prints a figure that is shown but has no goal.
inline void PrintFigure(const std::string& name, double value, const std::string& unit) {
  Print({name, "", value, 0, false, unit});
}

}  // namespace bench

#endif  // LAUNCHER_BENCH_MEASURE_H_
