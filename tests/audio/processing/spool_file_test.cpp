#include "audio/processing/spool_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

using kiv::CreateSpoolFile;
using kiv::RemoveStaleSpoolFiles;
using kiv::test::TemporaryFolder;

TEST(SpoolFile, IsHiddenPrivateAndInTheFolder) {
  const TemporaryFolder folder;
  std::string path;
  const LReadWriteFile file = CreateSpoolFile(folder.Path(), path);
  ASSERT_TRUE(file.IsOpen());
  EXPECT_TRUE(path.starts_with(folder.Path() + "/.kiv-level-")) << path;
  EXPECT_FALSE(path.ends_with(".wav"));
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST(SpoolFile, FolderThatIsNotThereGivesNoFileAndNoPath) {
  std::string path = "old";
  EXPECT_FALSE(CreateSpoolFile("/nonexistent/folder", path).IsOpen());
  EXPECT_EQ(path, "");
}

TEST(SpoolFile, BytesComeBackWhateverThePieces) {
  const TemporaryFolder folder;
  std::string path;
  const LReadWriteFile file = CreateSpoolFile(folder.Path(), path);
  kiv::test::Random random(1);
  std::vector<std::uint8_t> bytes(300001);
  for (std::uint8_t& b : bytes) b = static_cast<std::uint8_t>(random.Next());
  kiv::SpoolWriter writer(file.Descriptor());
  for (std::size_t i = 0; i < bytes.size();) {
    const auto n = std::min(static_cast<std::size_t>(random.Between(0, 100000)), bytes.size() - i);
    writer.Write(bytes.data() + i, n);
    i += n;
  }
  EXPECT_TRUE(writer.Flush());
  EXPECT_TRUE(writer.Flush());
  EXPECT_FALSE(writer.Failed());
  EXPECT_EQ(std::filesystem::file_size(path), bytes.size());

  kiv::SpoolReader reader(file.Descriptor());
  std::vector<std::uint8_t> back(bytes.size() + 10);
  std::size_t got = 0;
  while (got < bytes.size()) {
    const auto n = std::min(static_cast<std::size_t>(random.Between(0, 100000)), bytes.size() - got);
    ASSERT_EQ(reader.Read(back.data() + got, n), n);
    got += n;
  }
  EXPECT_EQ(reader.Read(back.data() + got, 10), 0U);
  back.resize(bytes.size());
  EXPECT_EQ(back, bytes);

  reader.Seek(300000);
  std::uint8_t tail[4] = {1, 2, 3, 4};
  EXPECT_EQ(reader.Read(tail, 4), 1U);
  EXPECT_EQ(tail[0], bytes[300000]);
  EXPECT_EQ(tail[1], 2);  // What is not there leaves the buffer alone.
}

TEST(SpoolFile, WriteErrorIsReported) {
  // The device that is always full.
  const LReadWriteFile full(open("/dev/full", O_RDWR | O_CLOEXEC));
  ASSERT_TRUE(full.IsOpen());
  kiv::SpoolWriter writer(full.Descriptor());
  writer.Write("abc", 3);
  EXPECT_FALSE(writer.Failed());
  EXPECT_FALSE(writer.Flush());
  EXPECT_TRUE(writer.Failed());
  kiv::SpoolReader reader(-1);
  char byte = 7;
  EXPECT_EQ(reader.Read(&byte, 1), 0U);
}

TEST(SpoolFile, OnlyLeftoversOfACrashAreRemoved) {
  const TemporaryFolder folder;
  std::string path;
  LReadWriteFile inUse = CreateSpoolFile(folder.Path(), path);
  kiv::test::WriteFile(folder.File(".kiv-level-abcdef"), "left");
  kiv::test::WriteFile(folder.File(".kiv-level-ABC123"), "");
  kiv::test::WriteFile(folder.File(".kiv-level-toolong"), "other");
  kiv::test::WriteFile(folder.File("kiv-level-abcdef"), "other");
  kiv::test::WriteFile(folder.File("call.wav"), "recording");
  ASSERT_EQ(symlink(folder.File("call.wav").c_str(), folder.File(".kiv-level-linked").c_str()), 0);
  std::filesystem::create_directory(folder.File(".kiv-level-folder"));
  EXPECT_EQ(RemoveStaleSpoolFiles(folder.Path()), 2);
  EXPECT_TRUE(std::filesystem::exists(path));
  EXPECT_TRUE(std::filesystem::exists(folder.File("call.wav")));
  EXPECT_TRUE(std::filesystem::exists(folder.File(".kiv-level-toolong")));
  EXPECT_TRUE(std::filesystem::exists(folder.File("kiv-level-abcdef")));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.File(".kiv-level-linked")));
  inUse.Close();
  EXPECT_EQ(RemoveStaleSpoolFiles(folder.Path()), 1);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(RemoveStaleSpoolFiles("/nonexistent/folder"), 0);
}

}  // namespace
