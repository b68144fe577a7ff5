#pragma once

// The program in a home folder of its own, started by the test, and what it says and leaves there.
//   Limits  each wait is a failed assertion when nothing comes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/app/running_program.h"

namespace kiv::test {

class ProgramTest : public testing::Test {
 protected:
  // In good order.
  void EndProgram();
  void WaitForLog(const std::string& begin, int count = 1);
  // The count-th recording is under way and longer than that.
  void WaitForRecording(std::size_t count, double seconds);
  // Everything that was recorded has been levelled and copied.
  void WaitForQueue();
  // The log without what the queue says, which comes when it comes.
  std::vector<std::string> CallLog() const;
  // Frames of a recording that can be read.
  static std::int32_t FramesOf(const std::string& path);

  HomeFolder home_;
  std::unique_ptr<RunningProgram> program_;
};

}  // namespace kiv::test
