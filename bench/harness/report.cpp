#include "bench/harness/report.h"

#include <cmath>
#include <cstdio>

namespace bench {
namespace {

/// Four digits that count, without an exponent.
std::string shortNumber(double value) {
  if (value == 0) {
    return "0";
  }
  const int digitsBeforePoint = static_cast<int>(std::floor(std::log10(std::abs(value)))) + 1;
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", std::max(0, 4 - digitsBeforePoint), value);
  return text;
}

std::string describe(const Goal& goal) {
  switch (goal.kind) {
    case Goal::Kind::atMost:
      return "<= " + shortNumber(goal.bound);
    case Goal::Kind::atLeast:
      return ">= " + shortNumber(goal.bound);
    case Goal::Kind::none:
      break;
  }
  return "-";
}

}  // namespace

bool Goal::isMetBy(double value) const {
  return kind == Kind::none || (kind == Kind::atMost ? value <= bound : value >= bound);
}

void report(const Figure& figure) {
  const char* verdict = figure.goal.kind == Goal::Kind::none ? "-"
                        : figure.goal.isMetBy(figure.value)  ? "met"
                                                             : "missed";
  std::printf("%s\t%s\t%s\t%s\t%s\t%s\t%s\n", figure.row.c_str(), figure.subject.c_str(),
              figure.measure.c_str(), shortNumber(figure.value).c_str(), figure.unit.c_str(),
              describe(figure.goal).c_str(), verdict);
  std::fflush(stdout);
}

}  // namespace bench
