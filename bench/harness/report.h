// What a benchmark prints: one line a figure, its fields apart by tabs, so that people can read it
// and scripts/run-benchmarks can make the table of it.
//
//   row <tab> case <tab> measure <tab> value <tab> unit <tab> goal <tab> met|missed|-
#pragma once

#include <string>

namespace bench {

/// What a figure should reach.
struct Goal {
  enum class Kind { none, atMost, atLeast };
  Kind kind = Kind::none;
  double bound = 0;

  static Goal atMost(double bound) { return {Kind::atMost, bound}; }
  static Goal atLeast(double bound) { return {Kind::atLeast, bound}; }
  bool isMetBy(double value) const;
};

struct Figure {
  std::string row;      // what the table's row is about
  std::string subject;  // the input or size that it was measured with
  std::string measure;
  double value = 0;
  std::string unit;  // "x" for a ratio
  Goal goal;
};

/// Prints the figure at once: a run that is broken off leaves what it found.
void report(const Figure& figure);

}  // namespace bench
