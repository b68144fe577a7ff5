#pragma once

// An account of its own for one test: a temporary home folder with the program's folders in it, preferences in memory
// and a clock that stands where the test sets it.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/services.h"
#include "tests/support/temporary_folder.h"

namespace kiv::test {

class RecorderFixture : public testing::Test {
 protected:
  RecorderFixture();
  ~RecorderFixture() override;

  void SetLocalTime(int year, int month, int day, int hour, int minute, int second);
  // In section "Settings".
  void SetPreference(const std::string& key, const std::string& value);
  std::string Preference(const std::string& key) const;
  // The folder of the program's own files; none until it is set.
  void SetResources(const std::string& folder);

  std::string DataPath(const std::string& name) const;
  std::string RecordingPath(const std::string& name) const;
  // All lines of all days' logs, one a text; LogLines without their times ("12:00:00 ").
  std::vector<std::string> TimedLogLines() const;
  std::vector<std::string> LogLines() const;

  TemporaryFolder home;

 private:
  struct Account;
  std::unique_ptr<Account> account_;
  Services before_;
};

}  // namespace kiv::test
