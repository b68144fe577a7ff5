// kiv-convert IN OUT.wav: any sound file in the format of the prompts, as loading it in the preferences makes it.

#include "audio/wave_file.h"
#include "audio/wave_sink.h"
#include "recorder/prompt_files.h"
#include "tools/file_tool.h"

namespace {

constexpr char kUsage[] =
    "Usage: kiv-convert IN OUT.wav\n"
    "\n"
    "Converts a sound file to the format of the recorder's prompts: a WAV file of 8000 Hz,\n"
    "one channel and 16 bits. IN is a PCM WAV file of 8 or 16 bits or an MP3 file, with one\n"
    "or two channels; of two the first is taken. OUT.wav appears when it is whole. It\n"
    "cannot be IN.\n"
    "\n"
    "  -h, --help   show this text\n"
    "\n"
    "Exit status: 0 converted, 1 stopped by a signal, 2 failed or wrong arguments.\n";

std::string_view ReasonOf(std::uint8_t error) {
  switch (error) {
    case kSourceNotOpened:
      return "cannot be opened";
    case kSourceNotSupported:
      return "is of a kind that cannot be converted: more than 16 bits or two channels, not PCM, or too long";
    default:
      return "is neither a WAV file nor an MP3 file that can be converted";
  }
}

// The console as the conversion sees it.
struct Display {
  kiv::ConsoleProgress& console;

  static void SetStatus(const char* /*text*/, int /*line*/) {}
  void SetProgress(double fraction) { console.SetProgress(fraction); }
  static bool IsToStop() { return kiv::ConsoleProgress::IsStopRequested(); }
};

kiv::Made Convert(const kiv::FileTool::Paths& paths, kiv::ConsoleProgress& progress, std::string_view& why) {
  LPRSourceToSink job;
  job.source = kiv::OpenForPrompt(paths.in.c_str());
  if (job.source->Error() != kSourceGood) {
    why = ReasonOf(job.source->Error());
    return kiv::Made::InputFailed;
  }
  job.sink = kiv::OpenPromptSink(paths.result.c_str());
  Display display{progress};
  const int result = Process(display, job);
  if (result == kiv::kStopped) return kiv::Made::Stopped;
  kiv::SyncSinkToDisk(job.sink);
  const bool written = result == kiv::kConverted && job.sink->Error() == kSinkGood;
  const std::int32_t frames = job.sink->Position();
  job.sink.Close();
  // The last bytes are written as the sink goes.
  if (!written || LWaveFile::OpenSource(paths.result.c_str())->GetEndSample() != frames) {
    return kiv::Made::OutputFailed;
  }
  progress.SetProgress(1.0);
  return kiv::Made::Whole;
}

}  // namespace

int main(int argc, char** argv) {
  return kiv::RunFileTool({.name = "kiv-convert", .usage = kUsage, .make = Convert}, argc, argv);
}
