#pragma once

// A progress display that keeps what it was told, and stops the work when the test wants.

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace kiv::test {

class RecordedProgress {
 public:
  // Asked with the number of earlier questions.
  std::function<bool(int)> stopAt = [](int) { return false; };

  std::vector<std::pair<int, std::string>> lines;
  std::vector<double> fractions;
  int asked = 0;

  void SetStatus(const char* text, int line) { lines.emplace_back(line, text); }
  void SetProgress(double fraction) { fractions.push_back(fraction); }
  bool IsToStop() { return stopAt(asked++); }
};

}  // namespace kiv::test
