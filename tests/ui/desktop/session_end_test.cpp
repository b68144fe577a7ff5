// The end of a desktop session, from a session manager of our own to a program with our frame.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/ui/desktop/child_program.h"

namespace {

using kiv::test::ChildProgram;
using testing::ElementsAre;

class SessionEnd : public testing::Test {
 protected:
  ~SessionEnd() override {
    // It ends with its input, and takes its address off the file system.
    manager_.CloseInput();
    EXPECT_TRUE(manager_.WaitForEnd());
  }
  // The session has begun and the program's window is shown.
  void Begin(const std::string& argument = "") {
    ASSERT_TRUE(manager_.Start({KIV_SESSION_MANAGER}));
    ASSERT_TRUE(manager_.WaitForLines(1));
    const std::string address = manager_.Lines()[0];
    ASSERT_EQ(address.rfind("address ", 0), 0U) << address;
    ASSERT_TRUE(program_.Start({KIV_SESSION_CLIENT, argument}, {"SESSION_MANAGER=" + address.substr(8)}));
    ASSERT_TRUE(manager_.WaitForLine("saved"));  // As every program that comes in is asked to.
    ASSERT_TRUE(program_.WaitForLine(argument == "--dialog" ? "dialog open" : "shown"));
  }
  std::vector<std::string> OfManager() { return {manager_.Lines().begin() + 1, manager_.Lines().end()}; }
  ChildProgram manager_;
  ChildProgram program_;
};

TEST_F(SessionEnd, AsksFirstAndEndsTheProgramWhenTheManagerSaysSo) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  manager_.Tell("end");
  ASSERT_TRUE(manager_.WaitForLines(4));
  manager_.Tell("die");
  ASSERT_TRUE(program_.WaitForEnd());
  EXPECT_EQ(program_.ExitCode(), 0);
  EXPECT_THAT(program_.Lines(), ElementsAre("shown", "CmCancel", "DestroyDialog"));
  EXPECT_TRUE(manager_.WaitForLine("gone"));
  EXPECT_THAT(OfManager(), ElementsAre("registered", "saved", "saved", "gone"));
}

TEST_F(SessionEnd, IsCalledOffByAProgramThatRefuses) {
  ASSERT_NO_FATAL_FAILURE(Begin("--refuse"));
  manager_.Tell("end");
  ASSERT_TRUE(manager_.WaitForLine("not saved"));
  EXPECT_THAT(OfManager(), ElementsAre("registered", "saved", "called off", "not saved"));
  // Alive and well; and a manager that ends the session all the same finds a program that ends in order.
  manager_.Tell("die");
  ASSERT_TRUE(program_.WaitForEnd());
  EXPECT_EQ(program_.ExitCode(), 0);
  EXPECT_THAT(program_.Lines(), ElementsAre("shown", "CmCancel", "DestroyDialog"));
}

TEST_F(SessionEnd, IsNotMeantWhenTheManagerNotesWhichProgramsRun) {
  ASSERT_NO_FATAL_FAILURE(Begin());
  for (int i = 0; i < 3; ++i) {
    const std::size_t before = manager_.Lines().size();
    manager_.Tell("check");
    ASSERT_TRUE(manager_.WaitForLines(before + 1));
  }
  EXPECT_THAT(OfManager(), ElementsAre("registered", "saved", "saved", "saved", "saved"));
  EXPECT_THAT(program_.Lines(), testing::Not(testing::Contains("DestroyDialog")));
}

TEST_F(SessionEnd, EndsAnOpenDialogToo) {
  ASSERT_NO_FATAL_FAILURE(Begin("--dialog"));
  manager_.Tell("end");
  ASSERT_TRUE(manager_.WaitForLines(4));
  manager_.Tell("die");
  ASSERT_TRUE(program_.WaitForEnd());
  EXPECT_EQ(program_.ExitCode(), 0);
  EXPECT_THAT(program_.Lines(), ElementsAre("shown", "dialog open", "CmCancel", "dialog ended", "DestroyDialog"));
}

}  // namespace
