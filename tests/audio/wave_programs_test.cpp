// What other programs make of our files, finished and interrupted. Needs sox, ffmpeg and sndfile-programs.

#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "audio/wave_file.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/test_signals.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct Answer {
  int status;
  std::string text;  // both outputs
};

Answer RunShell(const std::string& command) {
  Answer answer{-1, {}};
  FILE* const pipe = popen((command + " 2>&1").c_str(), "r");  // NOLINT(cert-env33-c)
  if (pipe == nullptr) return answer;
  std::array<char, 4096> part;
  for (std::size_t got = 0; (got = fread(part.data(), 1, part.size(), pipe)) > 0;) answer.text.append(part.data(), got);
  const int status = pclose(pipe);
  answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return answer;
}

struct Shape {
  int channels;
  int bits;
  std::int32_t rateHz;
};

class WavePrograms : public testing::TestWithParam<Shape> {
 protected:
  static constexpr std::int32_t kFrames = 12345;

  void SetUp() override {
    for (const char* program : {"soxi", "sox", "ffprobe", "ffmpeg", "sndfile-info"}) {
      ASSERT_EQ(RunShell(std::string("command -v ") + program).status, 0)
          << program << " is missing; scripts/install-packages test brings it";
    }
  }
  std::uint8_t Channels() const { return static_cast<std::uint8_t>(GetParam().channels); }
  LSoundSink Open() const {
    return LWaveFile::OpenSinkPCM(Path().c_str(), GetParam().rateHz, Channels(),
                                  static_cast<std::uint16_t>(GetParam().bits), 0);
  }
  std::vector<std::int32_t> Signal() const { return kiv::test::Noise(5, kFrames, Channels(), 520192); }
  std::string Path() const { return folder_.File("a.wav"); }
  std::string Quoted() const { return "'" + Path() + "'"; }
  std::string Raw() const { return folder_.File("a.raw"); }
  // The sound data as it stands in the file.
  std::string Data() const { return kiv::test::ReadFile(Path()).substr(46); }

  void ExpectFieldsEverywhere() const {
    const std::string channels = std::to_string(GetParam().channels);
    const std::string rate = std::to_string(GetParam().rateHz);
    const std::string bits = std::to_string(GetParam().bits);
    const Answer soxi = RunShell("soxi " + Quoted());
    EXPECT_EQ(soxi.status, 0) << soxi.text;
    EXPECT_EQ(RunShell("soxi -c " + Quoted()).text, channels + "\n");
    EXPECT_EQ(RunShell("soxi -r " + Quoted()).text, rate + "\n");
    EXPECT_EQ(RunShell("soxi -b " + Quoted()).text, bits + "\n");
    const Answer ffprobe =
        RunShell("ffprobe -v error -show_entries stream=codec_name,sample_rate,channels -of default=nw=1 " + Quoted());
    EXPECT_EQ(ffprobe.status, 0);
    EXPECT_EQ(ffprobe.text, std::string("codec_name=") + (GetParam().bits == 8 ? "pcm_u8" : "pcm_s16le") +
                                "\nsample_rate=" + rate + "\nchannels=" + channels + "\n");
    EXPECT_EQ(RunShell("ffprobe -v quiet -show_entries stream=duration_ts -of default=nw=1:nk=1 " + Quoted()).text,
              std::to_string(kFrames) + "\n");
    const Answer info = RunShell("sndfile-info " + Quoted());
    EXPECT_EQ(info.status, 0) << info.text;
    EXPECT_THAT(info.text, HasSubstr("Sample Rate : " + rate + "\n"));
    EXPECT_THAT(info.text, HasSubstr("Channels    : " + channels + "\n"));
    EXPECT_THAT(info.text, HasSubstr("Frames      : " + std::to_string(kFrames) + "\n"));
    // Its only remark may be that the data has an odd size, which "unknown" has, too.
    std::string remarks = info.text;
    const std::string odd = "*** 'data' chunk should be an even number of bytes in length.\n";
    if (const std::size_t at = remarks.find(odd); at != std::string::npos) remarks.erase(at, odd.size());
    EXPECT_THAT(remarks, Not(HasSubstr("***")));
  }

  // Every byte of the sound comes through, and nothing else.
  void ExpectSameSoundFromFfmpeg() const {
    const char* const format = GetParam().bits == 8 ? "u8" : "s16le";
    EXPECT_EQ(RunShell("ffmpeg -v error -nostdin -y -i " + Quoted() + " -f " + format + " '" + Raw() + "'").text, "");
    EXPECT_EQ(kiv::test::ReadFile(Raw()), Data());
  }
  void ExpectSameSoundFromSox() const {
    const char* const form = GetParam().bits == 8 ? "-b 8 -e unsigned-integer" : "-b 16 -e signed-integer -L";
    EXPECT_EQ(RunShell("sox -D " + Quoted() + " -t raw " + form + " '" + Raw() + "'").status, 0);
    EXPECT_EQ(kiv::test::ReadFile(Raw()), Data());
  }

 private:
  kiv::test::TemporaryFolder folder_;
};

TEST_P(WavePrograms, AcceptFinishedRecordings) {
  LSoundSink sink = Open();
  sink->Write(Signal().data(), kFrames);
  sink.Close();
  ExpectFieldsEverywhere();
  EXPECT_EQ(RunShell("soxi -s " + Quoted()).text, std::to_string(kFrames) + "\n");
  ExpectSameSoundFromFfmpeg();
  ExpectSameSoundFromSox();
}

// soxi tells only the header's own length here, which is unknown; what sox reads is the whole sound all the same.
TEST_P(WavePrograms, AcceptInterruptedRecordings) {
  const LSoundSink sink = Open();  // Stays open: what a killed writer leaves is the same file.
  sink->Write(Signal().data(), kFrames);
  ASSERT_EQ(kiv::test::ReadFile(Path()).substr(42, 4), "\xFF\xFF\xFF\xFF");
  ExpectFieldsEverywhere();
  ExpectSameSoundFromFfmpeg();
  ExpectSameSoundFromSox();
}

TEST_P(WavePrograms, AcceptRecordingsWithoutSound) {
  LSoundSink sink = Open();
  const std::string rate = std::to_string(GetParam().rateHz) + "\n";
  for (const bool finished : {false, true}) {
    if (finished) sink.Close();
    EXPECT_EQ(RunShell("soxi -r " + Quoted()).text, rate) << finished;
    EXPECT_EQ(RunShell("ffprobe -v error -show_entries stream=sample_rate -of default=nw=1:nk=1 " + Quoted()).text,
              rate)
        << finished;
    EXPECT_THAT(RunShell("sndfile-info " + Quoted()).text, HasSubstr("Frames      : 0\n")) << finished;
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, WavePrograms,
                         testing::Values(Shape{1, 16, 8000}, Shape{2, 16, 44100}, Shape{1, 8, 11025}),
                         [](const auto& shape) {
                           return "Channels" + std::to_string(shape.param.channels) + "Bits" +
                                  std::to_string(shape.param.bits);
                         });

// The other way round: files that other programs write.
TEST(WaveProgramFiles, OtherProgramsFilesAreRead) {
  const kiv::test::TemporaryFolder folder;
  const std::string path = folder.File("b.wav");
  const std::string make[] = {
      "sox -D -R -n -r 8000 -c 1 -b 16 '" + path + "' synth 1 sine 440",
      "sox -D -R -n -r 8000 -c 2 -b 8 '" + path + "' synth 1 sine 440",
      "ffmpeg -v error -nostdin -y -f lavfi -i sine=440:r=8000:d=1 -c:a pcm_s16le -metadata title=odd '" + path + "'",
      "ffmpeg -v error -nostdin -y -f lavfi -i sine=440:r=8000:d=1 -c:a pcm_u8 '" + path + "'",
  };
  for (const std::string& command : make) {
    const Answer made = RunShell(command);
    ASSERT_EQ(made.status, 0) << made.text;
    LSoundSource source = LWaveFile::OpenSource(path.c_str());
    EXPECT_EQ(source->Error(), kSourceGood) << command;
    EXPECT_EQ(source->Rate(), 8000);
    EXPECT_EQ(source->GetEndSample(), 8000) << command;
    std::vector<std::int32_t> samples = kiv::test::ReadInPieces(source, 8000, {800});
    const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
    EXPECT_GT(*high, 60000) << command;  // The quieter of the two tones has an eighth of full scale.
    EXPECT_LT(*low, -60000) << command;
    EXPECT_NEAR(*high, -*low, 4096 + 16) << command;
  }
  ASSERT_EQ(RunShell("sox -n -r 8000 -b 24 '" + path + "' synth 1 sine 440").status, 0);
  EXPECT_EQ(LWaveFile::OpenSource(path.c_str())->Error(), kSourceNotSupported);
}

}  // namespace
