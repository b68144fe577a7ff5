// kiv-call on a private sound server.

#include <cstdlib>
#include <filesystem>

#include "tests/support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

std::string NameOf(const testing::TestParamInfo<const char*>& server) {
  return server.param;
}

class KivCallOnServer : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Servers, KivCallOnServer, testing::Values("pulseaudio", "pipewire"), NameOf);

TEST_P(KivCallOnServer, MakesTheTypicalCall) {
  const kiv::test::TemporaryFolder folder;
  fs::create_directory(folder.File("resources"));  // Short tones in place of the system prompts.
  kiv::test::WriteFile(folder.File("script"),
                       "record\n"
                       "wait-for recording\n"
                       "wait 1.5\n"
                       "stop\n"
                       "wait-for idle\n");
  const std::string command = std::string("KIV_RESOURCES='") + folder.File("resources") + "' " + KIV_SCRIPTS +
                              "/with-sound " + GetParam() + " " + KIV_CALL + " --server '" + folder.File("script") +
                              "' >'" + folder.File("trace") + "' 2>'" + folder.File("said") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << kiv::test::ReadFile(folder.File("said"));
  const std::string trace = kiv::test::ReadFile(folder.File("trace"));
  std::vector<std::string> states;
  for (std::size_t begin = 0, end; (end = trace.find('\n', begin)) != std::string::npos; begin = end + 1) {
    const std::string line = trace.substr(begin, end - begin);
    if (line.substr(12, 5) == "state") states.push_back(line.substr(21));
  }
  EXPECT_THAT(states, testing::ElementsAre("start-prompt", "recording", "end-prompt", "idle")) << trace;
  EXPECT_THAT(trace, testing::HasSubstr(".wav, 8000 Hz, mono, peak ")) << trace;
  EXPECT_THAT(trace, testing::EndsWith(", queued\n")) << trace;
}

}  // namespace
