#include "tests/app/desktop/program_test.h"

#include <csignal>
#include <filesystem>

#include "audio/wave_file.h"

namespace kiv::test {

void ProgramTest::EndProgram() {
  program_->Signal(SIGTERM);
  EXPECT_EQ(program_->WaitForEnd(), 0) << program_->Said();
  EXPECT_EQ(home_.Log().back(), "Kiv Recorder Exit");
}

void ProgramTest::WaitForLog(const std::string& begin, int count) {
  ASSERT_TRUE(WaitFor([&] { return home_.HasLogged(begin, count); }))
      << begin << " is not in " << testing::PrintToString(home_.Log()) << program_->Said();
}

void ProgramTest::WaitForRecording(std::size_t count, double seconds) {
  constexpr double kSecondBytes = 16000;
  const auto bytes = static_cast<std::uintmax_t>(seconds * kSecondBytes);
  ASSERT_TRUE(WaitFor([&] {
    const auto paths = home_.Recordings();
    std::error_code missing;
    return paths.size() >= count && std::filesystem::file_size(paths[count - 1], missing) > bytes;
  })) << testing::PrintToString(home_.Log());
}

void ProgramTest::WaitForQueue() {
  ASSERT_TRUE(WaitFor([&] {
    std::error_code missing;
    const auto size = std::filesystem::file_size(home_.DataPath("bgalc.dat"), missing);
    return missing || size == 0;
  })) << testing::PrintToString(home_.Log());
}

std::vector<std::string> ProgramTest::CallLog() const {
  std::vector<std::string> lines = home_.Log();
  std::erase_if(lines, [](const std::string& line) {
    return line.starts_with("Level Control: ") || line.starts_with("Copy to: ");
  });
  return lines;
}

std::int32_t ProgramTest::FramesOf(const std::string& path) {
  const LSoundSource source = LWaveFile::OpenSource(path.c_str());
  EXPECT_EQ(source->Error(), kSourceGood) << path;
  return source->GetEndSample();
}

}  // namespace kiv::test
